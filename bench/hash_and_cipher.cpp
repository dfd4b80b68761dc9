// The library's own hash, cipher and key derivation.
#include <array>

#include "UlmaroAlgrithm.h"
#include "cases.hpp"

namespace bench {
namespace {

const bool registered = [] {
    static const std::array<unsigned int, ULMARO_SM4_SCHEDULE_WORDS> schedule = [] {
        std::array<unsigned int, ULMARO_SM4_SCHEDULE_WORDS> rk{};
        SM4_KEY_INIT(sample_key, sizeof sample_key, rk.data(), static_cast<int>(rk.size()));
        return rk;
    }();
    const unsigned int* rk = schedule.data();
    for (const std::size_t size : sizes()) {
        const unsigned char* in = input(size);
        unsigned char* out = output(size);
        const int len = static_cast<int>(size);
        add(
            "sm3", size, "ulmaro", [=] { SM3_HASH(in, len, out); }, 32);
        add(
            "sm4-ecb-encrypt", size, "ulmaro", [=] { SM4_X_ECB_EN_MODE(in, len, rk, out); }, size);
        add(
            "sm4-ecb-decrypt", size, "ulmaro", [=] { SM4_X_ECB_DE_MODE(in, len, rk, out); }, size);
        add(
            "sm4-cbc-encrypt", size, "ulmaro", [=] { SM4_X_CBC_EN_MODE(in, len, rk, sample_iv, out); }, size);
        add(
            "sm4-cbc-decrypt", size, "ulmaro", [=] { SM4_X_CBC_DE_MODE(in, len, rk, sample_iv, out); }, size);
        add(
            "kdf", size, "ulmaro", [=] { SM2_KDF_ALGRITRHM(in, 64, len, out); }, size);
    }
    return true;
}();

}  // namespace
}  // namespace bench
