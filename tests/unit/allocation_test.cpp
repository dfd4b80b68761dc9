// Scratch memory: how much may be allocated, and what is left behind when an allocation fails.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/entry_points.hpp"
#include "support/refusal.hpp"

namespace {

// If fail_at is n, the n-th allocation from now on fails; nothing is counted outside watch().
struct {
    bool on = false;
    int made = 0, live = 0, fail_at = 0;
} heap;

}  // namespace

// The library's calls to malloc and free; the linker redirects them here.
extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size) {
    if (heap.on && ++heap.made == heap.fail_at) return nullptr;
    void* memory = __real_malloc(size);
    if (heap.on && memory != nullptr) ++heap.live;
    return memory;
}
extern "C" void __real_free(void* memory);
extern "C" void __wrap_free(void* memory) {
    if (heap.on && memory != nullptr) --heap.live;
    __real_free(memory);
}

[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
// A sanitizer has its own forms for arrays.
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

using namespace ulmaro::test;

namespace {

struct Result {
    bool refused;
    int allocations, leaked;
};

template <class Call>
Result watch(int fail_at, Call&& call) {
    heap = {true, 0, 0, fail_at};
    const bool refused = throws<std::bad_alloc>(call);
    heap.on = false;
    return {refused, heap.made, heap.live};
}

/// Every entry point with the first, second, ... allocation failing, and finally with all of them granted.
TEST(Allocation, FailsCleanly) {
    const KindsOfGroups groups;
    EntryPoints all(groups);
    for (const EntryPoints::Call& call : all.calls) {
        for (int fail_at = 1;; ++fail_at) {
            std::srand(2);
            const Bytes output = all.output;
            Bytes record = all.record;
            const Result r = watch(fail_at, call.run);
            EXPECT_EQ(r.leaked, 0) << call.name << ", allocation " << fail_at;
            if (!r.refused) {
                EXPECT_LE(r.allocations, (call.traits & EntryPoints::allocates) == 0 ? 0 : call.grp == nullptr ? 2 : 4);
                break;
            }
            // Nothing is written, except the length of a ciphertext.
            if (call.name == std::string("SM2_ECES_Encryption")) {
                const int length = all.record[96] | all.record[97] << 8;
                EXPECT_TRUE(length == 20 || length == 3000);
                std::copy_n(&all.record[96], 4, &record[96]);
            }
            EXPECT_TRUE(all.output == output && all.record == record) << call.name << ", allocation " << fail_at;
        }
    }
    // A record that claims more memory than there is.
    SM2_ECC_GenerateKeyPair(&groups.recommended, &all.pub, &all.key);
    SM2_ECES_Encryption(&groups.recommended, all.in(), 20, &all.pub, all.blob());
    all.record[99] = 0x7f;
    EXPECT_TRUE(watch(1, [&] {
                    all.result = SM2_ECES_Decryption(&groups.recommended, all.blob(), &all.key, all.out());
                }).refused);
}

TEST(Allocation, ScalarRecoding) {
    bignum_st scalar = {{0x12345678, 0x9abcdef0, 7}};
    int length = -1;
    signed char* digits = nullptr;
    const auto recode = [&] { digits = compute_wNAF(&scalar, 4, 8, &length); };
    EXPECT_EQ(watch(1, recode).leaked, 0);
    EXPECT_TRUE(digits == nullptr && length == 0);
    EXPECT_EQ(watch(0, recode).leaked, 1);
    EXPECT_GT(length, 0);
    std::free(digits);
}

}  // namespace
