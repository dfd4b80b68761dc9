// Constant time of the entry points on the recommended curve and a custom one: under valgrind's memcheck every secret
// counts as uninitialised, so that a branch or an address that depends on one is an error. Secrets are keys, drawn
// scalars, messages, hashed bytes and what is computed from them, until base/declassify.hpp names a value that is
// public. On a short curve, which is not constant-time, nothing is secret, and memory that nobody wrote is looked for.
// All this is run with the kernels for this processor, for one without AVX2, and for one without any extension.
//
// With the argument `leaks` each of those values stays secret in turn, and a kernel with table look-ups runs: the
// program fails unless memcheck reports every one of these.
//
// Valgrind 3.19 knows AVX2, BMI2, ADX and AES-NI of x86-64, but not AVX-512, GFNI and VAES: kernels for these do not
// run. Memcheck does not know that some instructions take longer for some operands.
#include <sys/random.h>
#include <sys/wait.h>
#include <unistd.h>
#include <valgrind/memcheck.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "base/cpu.hpp"
#include "base/declassify.hpp"
#include "sm4/kernels.hpp"
#include "support/entry_points.hpp"

using namespace ulmaro;
using namespace ulmaro::test;

namespace {

std::optional<Public> withheld;
int refused_draws = 0;  // still to come
bool secrets = true;

void make_secret(std::span<unsigned char> x) {
    if (secrets) VALGRIND_MAKE_MEM_UNDEFINED(x.data(), x.size());
}
void make_public(std::span<unsigned char> x) { VALGRIND_MAKE_MEM_DEFINED(x.data(), x.size()); }

void expect(bool condition, const char* what) {
    if (condition) return;
    std::printf("failed: %s\n", what);
    std::exit(1);
}

Sequence random_byte;

}  // namespace

void ulmaro::observe(bool& value, Public meaning) noexcept {
    if (meaning != withheld) make_public(object_bytes(value));
}

CpuFeatures pretended;

// The library's query; the linker redirects it here.
extern "C" const CpuFeatures* __real__ZN6ulmaro12cpu_featuresEv() noexcept;
extern "C" const CpuFeatures* __wrap__ZN6ulmaro12cpu_featuresEv() noexcept { return &pretended; }

// Both sources of randomness, as an application may replace them: their bytes are secret. A scalar of zeros is refused.
extern "C" int rand() noexcept {
    static int bytes = 0;
    int byte = refused_draws > 0 ? 0 : random_byte();
    if (refused_draws > 0 && ++bytes % 32 == 0) --refused_draws;
    make_secret(object_bytes(byte));
    return byte;
}

extern "C" ssize_t getrandom(void* out, std::size_t size, unsigned int) {
    // All ones are above the order.
    std::generate_n(static_cast<unsigned char*>(out), size, [] { return refused_draws > 0 ? 0xff : random_byte(); });
    if (refused_draws > 0) --refused_draws;
    make_secret({static_cast<unsigned char*>(out), size});
    return static_cast<ssize_t>(size);
}

namespace {

/// Without a group, everything; with one, only its calls.
void run_calls(EntryPoints& all, const ec_group_st* grp = nullptr) {
    for (const EntryPoints::Call& call : all.calls) {
        if (grp != nullptr && call.grp != grp) continue;
        secrets = (call.traits & EntryPoints::hides) != 0 && (call.grp == nullptr || call.grp->prime_top == 8);
        for (const auto x : {object_bytes(all.key), object_bytes(all.no_key), object_bytes(all.number.words),
                             object_bytes(all.ctx.V), object_bytes(all.ctx.block), object_bytes(all.sm4.schedule)}) {
            make_secret(x);
        }
        for (Bytes* bytes : {&all.text, &all.output, &all.sm4.bytes}) make_secret(*bytes);
        refused_draws = 1;
        call.run();
        make_public(object_bytes(all));
        for (Bytes* bytes : {&all.text, &all.output, &all.record, &all.sm4.bytes}) make_public(*bytes);
    }
}

void expect_report(const char* leak, const std::function<void()>& run) {
    const unsigned before = VALGRIND_COUNT_ERRORS;
    run();
    std::printf("%-22s %u reports\n", leak, VALGRIND_COUNT_ERRORS - before);
    expect(VALGRIND_COUNT_ERRORS > before, leak);
}

void run_leaks() {
    const KindsOfGroups groups;
    EntryPoints all(groups);
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
    secrets = true;
    Bytes block(16);
    make_secret(block);
    expect_report("table look-up",
                  [&] { sm4::portable_kernels.encrypt_blocks(block.data(), block.data(), 1, all.sm4.schedule); });
}

void run_all() {
    const KindsOfGroups groups;
    EntryPoints all(groups);
    // The portable kernel of SM4 looks its S-box up, but not for the key.
    if (&sm4::active_kernels() == &sm4::portable_kernels) {
        std::erase_if(all.calls, [](const auto& call) { return (call.traits & EntryPoints::ciphers) != 0; });
    }
    run_calls(all);
}

/// Kernels are chosen once in a process.
void run_in_child(void (*run)()) {
    const pid_t child = fork();
    if (child == 0) run(), std::exit(0);
    int status = -1;
    waitpid(child, &status, 0);
    expect(status == 0, "constant time");
}

}  // namespace

int main(int argc, char**) {
    expect(RUNNING_ON_VALGRIND != 0, "runs under valgrind");
    CpuFeatures& cpu = pretended = *__real__ZN6ulmaro12cpu_featuresEv();
    cpu.adx = cpu.avx2 && cpu.bmi2;  // memcheck's processor has the instructions and does not announce them
    if (argc > 1) {
        run_leaks();
        return 0;
    }
    run_in_child(run_all);
    cpu.avx2 = false;
    run_in_child(run_all);
    cpu = {};
    run_in_child(run_all);
    return 0;
}
