// Constant time of both curve engines: under valgrind's memcheck the secrets count as uninitialised, so a
// branch or an address that depends on one is an error. Run without valgrind the program checks nothing.
#include <valgrind/memcheck.h>

#include <algorithm>

#include "UlmaroAlgrithm.h"
#include "base/cpu.hpp"
#include "ec/limbs.hpp"
#include "ecp256/kernels.hpp"
#include "sm2p256/engine.hpp"
#include "sm2p256/kernels.hpp"
#include "sm2p256/scalar.hpp"

using namespace ulmaro;
using namespace ulmaro::sm2p256;

namespace {

template <typename T>
void make_secret(T& x) {
    VALGRIND_MAKE_MEM_UNDEFINED(&x, sizeof x);
}

template <typename T>
void make_public(T& x) {
    VALGRIND_MAKE_MEM_DEFINED(&x, sizeof x);
}

U256 secret(std::uint64_t seed) {
    U256 k = {{seed * 0x9e3779b97f4a7c15, seed * 0xbf58476d1ce4e5b9, seed * 0x94d049bb133111eb, seed << 58}};
    make_secret(k);
    return k;
}

void check_kernel(const Kernels& kernel) {
    const U256 k = secret(3);
    Affine r;
    Mask infinite = kernel.multiply_base(r, k);
    make_public(r);
    make_public(infinite);
    infinite = kernel.multiply_point(r, r, k);
    // The point may be secret as well.
    infinite = kernel.multiply_point(r, r, k);
    make_public(infinite);
}

/// Every supported kernel, and that for ADX: memcheck's processor has the instructions and does not announce them.
template <typename Kernels>
void check_kernels(std::span<const Kernels* const> supported, const Kernels& native, void (*check)(const Kernels&)) {
    for (const Kernels* kernel : supported) check(*kernel);
    const CpuFeatures& cpu = cpu_features();
    if (cpu.avx2 && cpu.bmi2 && std::ranges::count(supported, &native) == 0) check(native);
}

/// The recommended curve as if it were any.
ec_group_st any_group() {
    ECCParameter_st param;
    ec_group_st grp;
    SM2_Get_Paramter(&param, 0);
    SM2_ECC_InitParameter(&param, &grp);
    return grp;
}

void check_any_curve(const ecp256::Kernels& kernel) {
    const ec_group_st grp = any_group();
    const ecp256::Affine G = {ec::limbs(grp.generator.X.words), ec::limbs(grp.generator.Y.words)};
    ecp256::Jacobian r;
    for (const std::uint64_t seed : {3U, 4U}) {
        Mask exception = kernel.multiply_point(ec::curve_of(grp), G, secret(seed), r);
        make_public(exception);
    }
}

bool check_engine() {
    std::uint8_t e[32] = {1}, d[32] = {2, 3}, k[32] = {4, 5}, r[32], s[32], x[32], y[32];
    make_secret(e);
    make_secret(d);
    make_secret(k);
    bool can_sign = is_signing_key(d);
    make_public(can_sign);
    bool signed_ = sign(r, s, e, d, k);
    make_public(signed_);
    bool finite = multiply_base(x, y, d);
    make_public(finite);
    make_public(x);
    make_public(y);
    bool shared = multiply_point(r, s, x, y, k);
    make_public(shared);
    return can_sign && signed_ && finite && shared;
}

}  // namespace

int main() {
    check_kernels(supported_kernels(), native_kernels, check_kernel);
    check_kernels(ecp256::supported_kernels(), ecp256::native_kernels, check_any_curve);
    const Fe field = fe_invert(fe_from(secret(5)));
    const Scalar scalar = scalar_invert(scalar_from(secret(6)));
    __asm__ volatile("" : : "m"(field), "m"(scalar));
    return check_engine() ? 0 : 1;
}
