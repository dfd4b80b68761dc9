// The byte modes of SM4 under one signature, so that a test can run over all of them.
#pragma once

#include "UlmaroAlgrithm.h"
#include "UlmaroAlgrithmInternals.hpp"
#include "support/bytes.hpp"

namespace ulmaro::test {

struct Sm4Mode {
    const char* name;
    bool cbc;
    bool decrypts;
    bool raw_key;  // key is 16 bytes, else the 32 words of a schedule
    void (*run)(unsigned char* in, int len, void* key, unsigned char* iv, unsigned char* out);
};

using Byte = unsigned char;
inline unsigned int* schedule_of(void* key) { return static_cast<unsigned int*>(key); }
inline Byte* raw_key_of(void* key) { return static_cast<Byte*>(key); }

inline const Sm4Mode kSm4Modes[] = {
    {"ECB encryption", false, false, false,
     [](Byte* in, int len, void* key, Byte*, Byte* out) { SM4_X_ECB_EN_MODE(in, len, schedule_of(key), out); }},
    {"ECB decryption", false, true, false,
     [](Byte* in, int len, void* key, Byte*, Byte* out) { SM4_X_ECB_DE_MODE(in, len, schedule_of(key), out); }},
    {"CBC encryption", true, false, false,
     [](Byte* in, int len, void* key, Byte* iv, Byte* out) { SM4_X_CBC_EN_MODE(in, len, schedule_of(key), iv, out); }},
    {"CBC decryption", true, true, false,
     [](Byte* in, int len, void* key, Byte* iv, Byte* out) { SM4_X_CBC_DE_MODE(in, len, schedule_of(key), iv, out); }},
    {"CBC encryption, raw key", true, false, true,
     [](Byte* in, int len, void* key, Byte* iv, Byte* out) {
         SM4_X_CBC_EN_MODE_EX(in, len, raw_key_of(key), iv, out);
     }},
    {"CBC decryption, raw key", true, true, true,
     [](Byte* in, int len, void* key, Byte* iv, Byte* out) {
         SM4_X_CBC_DE_MODE_EX(in, len, raw_key_of(key), iv, out);
     }},
};

/// The routines behind them, in the same order.
inline const Sm4Mode kSm4InternalModes[] = {
    {"SMS4_ECB_EN_MOD", false, false, false,
     [](Byte* in, int len, void* key, Byte*, Byte* out) { SMS4_ECB_EN_MOD(in, len, schedule_of(key), out); }},
    {"SMS4_ECB_DE_MOD", false, true, false,
     [](Byte* in, int len, void* key, Byte*, Byte* out) { SMS4_ECB_DE_MOD(in, len, schedule_of(key), out); }},
    {"SMS4_CBC_EN_MOD", true, false, false,
     [](Byte* in, int len, void* key, Byte* iv, Byte* out) { SMS4_CBC_EN_MOD(in, len, schedule_of(key), iv, out); }},
    {"SMS4_CBC_DE_MOD", true, true, false,
     [](Byte* in, int len, void* key, Byte* iv, Byte* out) { SMS4_CBC_DE_MOD(in, len, schedule_of(key), iv, out); }},
    {"CBC_EN_MOD_CHAR", true, false, true,
     [](Byte* in, int len, void* key, Byte* iv, Byte* out) { CBC_EN_MOD_CHAR(in, len, raw_key_of(key), iv, out); }},
    {"CBC_DE_MOD_CHAR", true, true, true,
     [](Byte* in, int len, void* key, Byte* iv, Byte* out) { CBC_DE_MOD_CHAR(in, len, raw_key_of(key), iv, out); }},
};

/// One key in both forms.
struct Sm4Key {
    explicit Sm4Key(const Bytes& raw) : bytes(raw) { SM4_KEY_INIT(bytes.data(), 16, schedule, 32); }
    void* for_mode(const Sm4Mode& mode) { return mode.raw_key ? static_cast<void*>(bytes.data()) : schedule; }

    Bytes bytes;
    unsigned int schedule[32];
};

}  // namespace ulmaro::test
