// Constant time of the entry points on the recommended curve and a custom one: under valgrind's memcheck every secret
// counts as uninitialised, so that a branch or an address that depends on one is an error. Secrets are keys, drawn
// scalars, messages, hashed bytes and what is computed from them, until base/declassify.hpp names a value that is
// public. On a short curve, which is not constant-time, nothing is secret, and memory that nobody wrote is looked for.
//
// With the argument `leaks` each of those values stays secret in turn, and a kernel with table look-ups runs: the
// program fails unless memcheck reports every one of these.
//
// Valgrind 3.19 knows AVX2, BMI2, ADX and AES-NI of x86-64, but not AVX-512, GFNI and VAES: kernels for these do not
// run. Memcheck does not know that some instructions take longer for some operands.
#include <sys/random.h>
#include <valgrind/memcheck.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>

#include "base/cpu.hpp"
#include "base/declassify.hpp"
#include "ec/limbs.hpp"
#include "ecp256/kernels.hpp"
#include "sm2p256/kernels.hpp"
#include "sm3/counter_digests.hpp"
#include "sm4/kernels.hpp"
#include "support/entry_points.hpp"

using namespace ulmaro;
using namespace ulmaro::test;

namespace {

std::optional<Public> withheld;
int refused_draws = 0;  // still to come
bool secrets = true;

void make_secret(void* x, std::size_t size) {
    if (secrets) VALGRIND_MAKE_MEM_UNDEFINED(x, size);
}
template <typename T>
void make_secret(T& x) {
    make_secret(&x, sizeof x);
}
template <typename T>
void make_public(T& x) {
    VALGRIND_MAKE_MEM_DEFINED(&x, sizeof x);
}
void make_secret(Bytes& x) { make_secret(x.data(), x.size()); }
void make_public(Bytes& x) { VALGRIND_MAKE_MEM_DEFINED(x.data(), x.size()); }

void expect(bool condition, const char* what) {
    if (condition) return;
    std::printf("failed: %s\n", what);
    std::exit(1);
}

Bytes secret(std::size_t size) {
    Bytes bytes = pattern(size);
    make_secret(bytes);
    return bytes;
}

Sequence random_byte;

}  // namespace

void ulmaro::observe(bool& value, Public meaning) noexcept {
    if (meaning != withheld) make_public(value);
}

// Both sources of randomness, as an application may replace them: their bytes are secret. A scalar of zeros is refused.
extern "C" int rand() noexcept {
    static int bytes = 0;
    int byte = refused_draws > 0 ? 0 : random_byte();
    if (refused_draws > 0 && ++bytes % 32 == 0) --refused_draws;
    make_secret(byte);
    return byte;
}

extern "C" ssize_t getrandom(void* out, std::size_t size, unsigned int) {
    // All ones are above the order.
    std::generate_n(static_cast<unsigned char*>(out), size, [] { return refused_draws > 0 ? 0xff : random_byte(); });
    if (refused_draws > 0) --refused_draws;
    make_secret(out, size);
    return static_cast<ssize_t>(size);
}

namespace {

/// Without a group, everything; with one, only its calls.
void run_calls(EntryPoints& all, const ec_group_st* grp = nullptr) {
    for (const EntryPoints::Call& call : all.calls) {
        if (grp != nullptr && call.grp != grp) continue;
        secrets = (call.traits & EntryPoints::hides) != 0 && (call.grp == nullptr || call.grp->prime_top == 8);
        make_secret(all.key), make_secret(all.no_key), make_secret(all.number.words);
        make_secret(all.ctx.V), make_secret(all.ctx.block), make_secret(all.sm4.schedule);
        for (Bytes* bytes : {&all.text, &all.output, &all.sm4.bytes}) make_secret(*bytes);
        refused_draws = 1;
        call.run();
        make_public(all);
        for (Bytes* bytes : {&all.text, &all.output, &all.record, &all.sm4.bytes}) make_public(*bytes);
    }
    secrets = true;
}

void run_sm4_kernel(const sm4::Kernels& kernel) {
    std::uint32_t rk[32] = {1, 2, 3, 4};
    make_secret(rk);
    kernel.expand_key(rk, rk);
    Bytes iv = secret(16);
    for (const std::size_t blocks : {1U, 2U, 3U, 9U, 40U, 130U}) {
        Bytes in = secret(16 * blocks), out(16 * blocks);
        kernel.encrypt_blocks(in.data(), out.data(), blocks, rk);
        kernel.decrypt_blocks(in.data(), out.data(), blocks, rk);
        kernel.cbc_encrypt(in.data(), out.data(), blocks, rk, iv.data());
        kernel.cbc_decrypt(in.data(), out.data(), blocks, rk, iv.data());
    }
}

void run_sm3_kernel(const sm3::Kernels& kernel) {
    const Bytes data = secret(5 * 64);
    std::uint32_t v[8] = {};
    for (const std::size_t blocks : {1U, 2U, 5U}) kernel.compress(v, data.data(), blocks);
    sm3::CounterMessage message = {};
    make_secret(message.v);
    make_secret(message.bytes);
    message.blocks = 2;
    message.counter_offset = 58;
    Bytes out(3000);
    sm3::counter_digests(kernel, message, 1, out.data(), out.size());
}

u256::U256 secret_scalar(std::uint64_t seed) {
    u256::U256 k = {{seed * 0x9e3779b97f4a7c15, seed * 0xbf58476d1ce4e5b9, seed * 0x94d049bb133111eb, seed << 58}};
    make_secret(k);
    return k;
}

void run_curve_kernel(const sm2p256::Kernels& kernel) {
    const u256::U256 k = secret_scalar(3);
    sm2p256::Affine r;
    u256::Mask infinite = kernel.multiply_base(r, k);
    make_public(r);
    make_public(infinite);
    infinite = kernel.multiply_point(r, r, k);
    // The point may be secret as well.
    infinite = kernel.multiply_point(r, r, k);
    make_public(infinite);
}

/// The recommended curve as if it were any.
void run_curve_kernel(const ecp256::Kernels& kernel) {
    const ec_group_st grp = prepare(recommended_curve);
    const ecp256::Affine G = {ec::limbs(grp.generator.X.words), ec::limbs(grp.generator.Y.words)};
    ecp256::Jacobian r;
    for (const std::uint64_t seed : {3U, 4U}) {
        u256::Mask exception = kernel.multiply_point(ec::curve_of(grp), G, secret_scalar(seed), r);
        make_public(exception);
    }
}

/// Every supported kernel, and that for ADX: memcheck's processor has the instructions and does not announce them.
template <typename Kernels>
void run_curve_kernels(std::span<const Kernels* const> supported, const Kernels& native) {
    for (const Kernels* kernel : supported) run_curve_kernel(*kernel);
    const CpuFeatures& cpu = cpu_features();
    if (cpu.avx2 && cpu.bmi2 && std::ranges::count(supported, &native) == 0) run_curve_kernel(native);
}

// The portable kernel of SM4 looks its S-box up, but not for the key.
void run_all_kernels() {
    std::uint32_t rk[32] = {1, 2, 3, 4};
    make_secret(rk);
    sm4::portable_kernels.expand_key(rk, rk);
    for (const sm4::Kernels* kernel : sm4::supported_kernels()) {
        if (kernel != &sm4::portable_kernels) run_sm4_kernel(*kernel);
    }
    for (const sm3::Kernels* kernel : sm3::supported_kernels()) run_sm3_kernel(*kernel);
    run_curve_kernels(sm2p256::supported_kernels(), sm2p256::native_kernels);
    run_curve_kernels(ecp256::supported_kernels(), ecp256::native_kernels);
}

void expect_report(const char* leak, const std::function<void()>& run) {
    const unsigned before = VALGRIND_COUNT_ERRORS;
    run();
    std::printf("%-22s %u reports\n", leak, VALGRIND_COUNT_ERRORS - before);
    expect(VALGRIND_COUNT_ERRORS > before, leak);
}

void run_leaks(EntryPoints& all, const KindsOfGroups& groups) {
    const struct {
        Public meaning;
        const char* name;
        const ec_group_st& grp;
    } values[] = {
        {Public::draw_accepted, "draw_accepted", groups.recommended},
        {Public::key_can_sign, "key_can_sign", groups.recommended},
        {Public::key_can_sign, "key_can_sign, custom", groups.custom},
        {Public::signature_made, "signature_made", groups.recommended},
        {Public::signature_made, "signature_made, custom", groups.custom},
        {Public::multiple_exceptional, "multiple_exceptional", groups.custom},
        {Public::shared_point_zero, "shared_point_zero", groups.recommended},
        {Public::key_stream_zero, "key_stream_zero", groups.recommended},
        {Public::authentic, "authentic", groups.recommended},
    };
    for (const auto& value : values) {
        withheld = value.meaning;
        expect_report(value.name, [&] { run_calls(all, &value.grp); });
    }
    withheld.reset();
    expect_report("table look-up", [] { run_sm4_kernel(sm4::portable_kernels); });
}

}  // namespace

int main(int argc, char**) {
    expect(RUNNING_ON_VALGRIND != 0, "runs under valgrind");
    const KindsOfGroups groups;
    EntryPoints all(groups);
    if (argc > 1) {
        run_leaks(all, groups);
        return 0;
    }
    // The portable kernel of SM4 looks its S-box up, but not for the key.
    if (&sm4::active_kernels() == &sm4::portable_kernels)
        std::erase_if(all.calls,
                      [](const EntryPoints::Call& call) { return std::string_view(call.name).substr(1, 2) == "BC"; });
    run_calls(all);
    run_all_kernels();
    return 0;
}
