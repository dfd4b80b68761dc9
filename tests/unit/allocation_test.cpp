// Scratch memory: how much may be allocated, and what is left behind when an allocation fails.
#include <gtest/gtest.h>

#include <cstdlib>

#include "UlmaroAlgrithmInternals.hpp"
#include "support/curves.hpp"
#include "support/refusal.hpp"
#include "support/sm4_modes.hpp"

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

// The forms for arrays call these.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

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

/// Runs call on memory with the first, second, ... allocation failing, and finally with all of them granted, `most` at
/// most. A failure leaves the memory as `refused` makes it. Returns the memory.
template <class Call>
Bytes with_every_failure(
    const Bytes& memory, int most, Call&& call, void (*refused)(Bytes&) = [](Bytes&) {}) {
    Bytes expected = memory;
    refused(expected);
    for (int fail_at = 1;; ++fail_at) {
        Bytes work = memory;
        std::srand(2);
        const Result r = watch(fail_at, [&] { call(work.data()); });
        EXPECT_EQ(r.leaked, 0) << "allocation " << fail_at;
        if (!r.refused) {
            EXPECT_LE(r.allocations, most);
            return work;
        }
        EXPECT_EQ(work, expected) << "allocation " << fail_at;
    }
}

TEST(Allocation, Sm4Modes) {
    Sm4Key key(pattern(16));
    Bytes iv = pattern(16);
    for (const Sm4Mode& mode : all_sm4_modes) {
        for (const std::size_t length : {16U, 48U, 4096U}) {
            for (const std::size_t at : {std::size_t{0}, length - 1, length + 1, length, 2 * length}) {
                const bool apart_or_same = at == 0 || at == length || at == 2 * length;
                with_every_failure(pattern(3 * length), apart_or_same ? 0 : 2, [&](unsigned char* memory) {
                    mode.run(memory + length, static_cast<int>(length), key.for_mode(mode), iv.data(), memory + at);
                });
            }
        }
    }
}

TEST(Allocation, KeyDerivation) {
    Bytes message = pattern(100000);
    for (const int size : {0, 64, 100000}) {
        with_every_failure(Bytes(100), 2,
                           [&](unsigned char* out) { SM2_KDF_ALGRITRHM(message.data(), size, 100, out); });
    }
}

Ulmaro_ECC_CIPHER_BLOB* blob_of(unsigned char* record) { return reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record); }

TEST(Allocation, Ciphertexts) {
    const ec_group_st grp = prepare(recommended_curve);
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
    SM2_ECC_GenerateKeyPair(&grp, &pub, &key);
    const auto length_only = [](Bytes& record) { record[96] = 77, record[97] = record[98] = record[99] = 0; };
    // In place, where the key stream must be kept apart, and in separate storage.
    Bytes record;
    for (const std::size_t at : {100U, 177U}) {
        record = with_every_failure(
            pattern(177 + 77), 2,
            [&](unsigned char* memory) { SM2_ECES_Encryption(&grp, memory + at, 77, &pub, blob_of(memory)); },
            length_only);
    }
    int result = 0;
    const Bytes opened = with_every_failure(Bytes(77), 4, [&](unsigned char* plain) {
        result = SM2_ECES_Decryption(&grp, blob_of(record.data()), &key, plain);
    });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(opened, Bytes(record.begin() + 177, record.end()));
    // A record that claims more memory than there is.
    record[96] = record[97] = record[98] = 0;
    record[99] = 0x7f;
    const Result r = watch(1, [&] { return SM2_ECES_Decryption(&grp, blob_of(record.data()), &key, nullptr); });
    EXPECT_TRUE(r.refused);
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
