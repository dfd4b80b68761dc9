// The byte modes of SM4 under one signature, so that a test can loop over them.
#pragma once

#include <type_traits>

#include "UlmaroAlgrithmInternals.hpp"
#include "support/bytes.hpp"

namespace ulmaro::test {

using Byte = unsigned char;

struct Sm4Mode {
    const char* name;
    bool cbc;
    bool decrypts;
    bool raw_key;  // key is 16 bytes, otherwise the 32 words of a schedule
    void (*run)(Byte* in, int len, void* key, Byte* iv, Byte* out);
};

/// Run takes a schedule or a key, with or without an iv.
template <auto Run>
void run_mode(Byte* in, int len, void* key, Byte* iv, Byte* out) {
    using F = decltype(Run);
    if constexpr (std::is_invocable_v<F, Byte*, int, unsigned int*, Byte*>) {
        Run(in, len, static_cast<unsigned int*>(key), out);
    } else if constexpr (std::is_invocable_v<F, Byte*, int, unsigned int*, Byte*, Byte*>) {
        Run(in, len, static_cast<unsigned int*>(key), iv, out);
    } else {
        Run(in, len, static_cast<Byte*>(key), iv, out);
    }
}

inline constexpr Sm4Mode all_sm4_modes[] = {
    {"ECB encryption", false, false, false, run_mode<SM4_X_ECB_EN_MODE>},
    {"ECB decryption", false, true, false, run_mode<SM4_X_ECB_DE_MODE>},
    {"CBC encryption", true, false, false, run_mode<SM4_X_CBC_EN_MODE>},
    {"CBC decryption", true, true, false, run_mode<SM4_X_CBC_DE_MODE>},
    {"CBC encryption, raw key", true, false, true, run_mode<SM4_X_CBC_EN_MODE_EX>},
    {"CBC decryption, raw key", true, true, true, run_mode<SM4_X_CBC_DE_MODE_EX>},
};

/// A key in both forms.
struct Sm4Key {
    explicit Sm4Key(const Bytes& raw) : bytes(raw) { SM4_KEY_INIT(bytes.data(), 16, schedule, 32); }
    void* for_mode(const Sm4Mode& mode) { return mode.raw_key ? static_cast<void*>(bytes.data()) : schedule; }

    Bytes bytes;
    unsigned int schedule[32];
};

}  // namespace ulmaro::test
