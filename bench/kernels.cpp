// Every kernel that this processor can run, next to the portable one; each case is the work of one call.
#include "sm3/kernels.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "UlmaroAlgrithm.h"
#include "cases.hpp"
#include "ec/limbs.hpp"
#include "ecp256/kernels.hpp"
#include "sm2p256/kernels.hpp"
#include "sm3/counter_digests.hpp"
#include "sm4/kernels.hpp"

namespace bench {
namespace {

constexpr std::size_t largest_size = 16384;

/// The kernel takes the library's place, the portable one the peer's.
template <class Kernels, class Add>
void add_beside_portable(std::span<const Kernels* const> supported, const char* unit, Add add_work) {
    for (const Kernels* kernels : supported.first(supported.size() - 1)) {
        const std::string prefix = std::string("kernel-") + unit + "-" + kernels->name;
        add_work(prefix, "ulmaro", *kernels);
        add_work(prefix, "portable", *supported.back());
    }
}

void add_sm4(const std::string& prefix, const char* implementation, const ulmaro::sm4::Kernels& kernels) {
    static const std::array<unsigned int, ULMARO_SM4_SCHEDULE_WORDS> schedule = [] {
        std::array<unsigned int, ULMARO_SM4_SCHEDULE_WORDS> rk{};
        SM4_KEY_INIT(sample_key, sizeof sample_key, rk.data(), static_cast<int>(rk.size()));
        return rk;
    }();
    const unsigned int* rk = schedule.data();
    for (const std::size_t size : sizes()) {
        if (size > largest_size) break;
        const unsigned char* in = input(size);
        unsigned char* out = output(size);
        const std::size_t blocks = size / 16;
        add(
            prefix + "/ecb-encrypt", size, implementation, [=] { kernels.encrypt_blocks(in, out, blocks, rk); }, size);
        add(
            prefix + "/ecb-decrypt", size, implementation, [=] { kernels.decrypt_blocks(in, out, blocks, rk); }, size);
        add(
            prefix + "/cbc-encrypt", size, implementation, [=] { kernels.cbc_encrypt(in, out, blocks, rk, sample_iv); },
            size);
        add(
            prefix + "/cbc-decrypt", size, implementation, [=] { kernels.cbc_decrypt(in, out, blocks, rk, sample_iv); },
            size);
    }
}

void add_sm3(const std::string& prefix, const char* implementation, const ulmaro::sm3::Kernels& kernels) {
    for (const std::size_t size : sizes()) {
        if (size < 64 || size > largest_size) continue;
        const unsigned char* in = input(size);
        auto* const value = reinterpret_cast<std::uint32_t*>(output(32));
        add(
            prefix + "/compress", size, implementation,
            [=] {
                std::fill_n(value, 8, 0);
                kernels.compress(value, in, size / 64);
            },
            32);
        const auto message = std::make_shared<ulmaro::sm3::CounterMessage>();
        message->blocks = 1;
        add(
            prefix + "/counter-digests", size, implementation,
            [=] { ulmaro::sm3::counter_digests(kernels, *message, 1, output(size), size); }, size);
    }
}

void add_sm2(const std::string& prefix, const char* implementation, const ulmaro::sm2p256::Kernels& kernels) {
    using namespace ulmaro::sm2p256;
    static const U256 scalar = [] {
        U256 k;
        std::memcpy(&k, input(sizeof k), sizeof k);
        return k;
    }();
    // Results go to output(): every kernel gives the same limbs.
    auto* const point = reinterpret_cast<Affine*>(output(sizeof(Affine)));
    add(
        prefix + "/multiply-base", 0, implementation, [=] { kernels.multiply_base(*point, scalar); }, sizeof *point);
    add(
        prefix + "/multiply-point", 0, implementation, [=] { kernels.multiply_point(*point, generator, scalar); },
        sizeof *point);
    // Affine: kernels may return the same point with another z.
    add(
        prefix + "/multiply-add", 0, implementation,
        [=] { to_affine<PortableField>(*point, kernels.multiply_add_vartime(scalar, generator, scalar)); },
        sizeof *point);
}

void add_any_curve(const std::string& prefix, const char* implementation, const ulmaro::ecp256::Kernels& kernels) {
    using namespace ulmaro;
    // The recommended curve, treated like any other.
    static const ec_group_st group = [] {
        ECCParameter_st curve;
        ec_group_st grp;
        SM2_Get_Paramter(&curve, 0);
        SM2_ECC_InitParameter(&curve, &grp);
        return grp;
    }();
    static const ecp256::Curve curve = ec::curve_of(group);
    static const ecp256::Affine G = {ec::limbs(group.generator.X.words), ec::limbs(group.generator.Y.words)};
    static const u256::U256 scalar = ec::limbs(group.b_mont.words);
    static const u256::U256 other = ec::limbs(group.order.words);
    auto* const sum = reinterpret_cast<ecp256::Jacobian*>(output(sizeof(ecp256::Jacobian)));
    add(
        prefix + "/multiply-point", 0, implementation, [=] { kernels.multiply_point(curve, G, scalar, *sum); },
        sizeof *sum);
    add(
        prefix + "/multiply-add", 0, implementation,
        [=] { kernels.multiply_both_vartime(curve, G, scalar, G, other, *sum); }, sizeof *sum);
}

const bool registered = [] {
    add_beside_portable(ulmaro::ecp256::supported_kernels(), "any-curve", add_any_curve);
    add_beside_portable(ulmaro::sm2p256::supported_kernels(), "sm2", add_sm2);
    add_beside_portable(ulmaro::sm3::supported_kernels(), "sm3", add_sm3);
    add_beside_portable(ulmaro::sm4::supported_kernels(), "sm4", add_sm4);
    return true;
}();

}  // namespace
}  // namespace bench
