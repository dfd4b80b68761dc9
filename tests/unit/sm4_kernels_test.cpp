// Every SM4 kernel that this processor runs does what the portable one does, at every count of blocks around its width.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <span>
#include <vector>

#include "UlmaroAlgrithmInternals.hpp"
#include "sm4/kernels.hpp"
#include "sm4/kernels/portable_rounds.hpp"
#include "support/bytes.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"

using namespace ulmaro::test;
using namespace ulmaro::sm4;

namespace {

constexpr std::size_t kMostBlocks = 200;  // three times the widest kernel's 64, and a tail

struct Routine {
    const char* name;
    void (*run)(const Kernels& kernels, const std::uint8_t* in, std::uint8_t* out, std::size_t blocks,
                const std::uint32_t* rk, const std::uint8_t* iv);
};

const Routine kRoutines[] = {
    {"encrypt_blocks", [](const Kernels& k, const std::uint8_t* in, std::uint8_t* out, std::size_t n,
                          const std::uint32_t* rk, const std::uint8_t*) { k.encrypt_blocks(in, out, n, rk); }},
    {"decrypt_blocks", [](const Kernels& k, const std::uint8_t* in, std::uint8_t* out, std::size_t n,
                          const std::uint32_t* rk, const std::uint8_t*) { k.decrypt_blocks(in, out, n, rk); }},
    {"cbc_encrypt", [](const Kernels& k, const std::uint8_t* in, std::uint8_t* out, std::size_t n,
                       const std::uint32_t* rk, const std::uint8_t* iv) { k.cbc_encrypt(in, out, n, rk, iv); }},
    {"cbc_decrypt", [](const Kernels& k, const std::uint8_t* in, std::uint8_t* out, std::size_t n,
                       const std::uint32_t* rk, const std::uint8_t* iv) { k.cbc_decrypt(in, out, n, rk, iv); }},
};

struct Input {
    Bytes data, iv;
    std::vector<std::uint32_t> rk;
};

Input random_input(Random& random) {
    Input input{random.bytes(16 * kMostBlocks), random.bytes(16), std::vector<std::uint32_t>(32)};
    std::generate(input.rk.begin(), input.rk.end(), [&] { return random.word(); });
    return input;
}

/// What the portable kernel makes of the first `blocks` blocks.
Bytes expected(const Routine& routine, const Input& input, std::size_t blocks) {
    Bytes out(16 * blocks);
    routine.run(portable_kernels, input.data.data(), out.data(), blocks, input.rk.data(), input.iv.data());
    return out;
}

// Everything ends at a page that nobody may touch, at alignments that change with the count.
void check_apart(const Kernels& kernels, const Routine& routine, const Input& input, std::size_t blocks) {
    Guarded<unsigned char> in{std::span(input.data).first(16 * blocks)};
    Guarded<unsigned char> out(16 * blocks), iv{std::span<const unsigned char>(input.iv)};
    Guarded<std::uint32_t> rk{std::span<const std::uint32_t>(input.rk)};
    routine.run(kernels, in.data(), out.data(), blocks, rk.data(), iv.data());
    EXPECT_TRUE(std::ranges::equal(out.span(), expected(routine, input, blocks)))
        << kernels.name << ' ' << routine.name << ' ' << blocks;
    EXPECT_TRUE(out.intact()) << kernels.name << ' ' << routine.name << ' ' << blocks;
    EXPECT_TRUE(std::ranges::equal(in.span(), std::span(input.data).first(16 * blocks)));
}

// out lies `below` bytes before in, in one buffer of odd alignment; 0 is in place. What surrounds out stays.
void check_overlapping(const Kernels& kernels, const Routine& routine, const Input& input, std::size_t blocks,
                       std::size_t below) {
    const std::size_t size = 16 * blocks, margin = 17;
    Bytes buffer(margin + below + size + margin, 0xa5);
    unsigned char* out = buffer.data() + margin;
    std::copy_n(input.data.begin(), size, out + below);
    Bytes wanted = buffer;
    std::ranges::copy(expected(routine, input, blocks), wanted.begin() + margin);
    routine.run(kernels, out + below, out, blocks, input.rk.data(), input.iv.data());
    EXPECT_EQ(buffer, wanted) << kernels.name << ' ' << routine.name << ' ' << blocks << ", out " << below << " below";
}

TEST(Sm4Kernels, NamesAndOrder) {
#if defined(__x86_64__)
    const Kernels* const built[] = {&x86_gfni512_kernels, &x86_gfni256_kernels, &x86_vaes_kernels,
                                    &x86_aesni_avx2_kernels, &x86_aesni_kernels};
#elif defined(__aarch64__)
    const Kernels* const built[] = {&arm_sm4_kernels, &arm_aes_kernels};
#else
    const std::span<const Kernels* const> built;
#endif
    const auto supported = supported_kernels();
    for (const Kernels* kernels : built) {
        const bool present = std::ranges::find(supported, kernels) != supported.end();
        std::printf("%-16s %s\n", kernels->name, present ? "tested" : "SKIPPED: not for this processor");
    }
    EXPECT_EQ(supported.back(), &portable_kernels);
    EXPECT_EQ(&active_kernels(), supported.front());
}

// GB/T 32907 annex A.1, in every lane.
TEST(Sm4Kernels, PublishedBlock) {
    Bytes key = from_hex("0123456789abcdeffedcba9876543210");
    const Bytes plain = key, cipher = from_hex("681edf34d206965e86b3e94f536e4246");
    std::uint32_t rk[32];
    SMS4_KEY_INIT(key.data(), 16, rk, 32);
    for (const Kernels* kernels : supported_kernels()) {
        Bytes many, wanted, out(16 * kMostBlocks);
        for (std::size_t i = 0; i < kMostBlocks; ++i) {
            many.insert(many.end(), plain.begin(), plain.end());
            wanted.insert(wanted.end(), cipher.begin(), cipher.end());
        }
        kernels->encrypt_blocks(many.data(), out.data(), kMostBlocks, rk);
        EXPECT_EQ(out, wanted) << kernels->name;
        kernels->decrypt_blocks(wanted.data(), out.data(), kMostBlocks, rk);
        EXPECT_EQ(out, many) << kernels->name;
    }
}

// The standard's recurrence with the S-box from its table; the kernels compute it. 200 keys reach every byte many
// times.
TEST(Sm4Kernels, KeyExpansion) {
    Random random;
    for (int round = 0; round < 200; ++round) {
        std::uint32_t k[36], rk[32];
        for (int i = 0; i < 4; ++i) rk[i] = random.word(), k[i] = rk[i] ^ FK[static_cast<std::size_t>(i)];
        const Bytes key = snapshot(std::to_array({rk[0], rk[1], rk[2], rk[3]}));
        for (std::size_t i = 0; i < 32; ++i)
            k[i + 4] = k[i] ^ diffuse_key(substitute(k[i + 1] ^ k[i + 2] ^ k[i + 3] ^ CK[i]));
        for (const Kernels* kernels : supported_kernels()) {
            std::memcpy(rk, key.data(), 16);
            kernels->expand_key(rk, rk);
            EXPECT_TRUE(std::equal(rk, rk + 32, k + 4)) << kernels->name;
        }
    }
}

TEST(Sm4Kernels, EveryCountOfBlocks) {
    Random random;
    const Input input = random_input(random);
    for (const Kernels* kernels : supported_kernels()) {
        for (const Routine& routine : kRoutines) {
            for (std::size_t blocks = 0; blocks <= kMostBlocks; ++blocks) {
                check_apart(*kernels, routine, input, blocks);
                check_overlapping(*kernels, routine, input, blocks, 0);
                check_overlapping(*kernels, routine, input, blocks, 1 + random.up_to(16 * blocks));
            }
        }
    }
}

TEST(Sm4Kernels, OutputBelowInput) {
    Random random;
    const Input input = random_input(random);
    for (const Kernels* kernels : supported_kernels()) {
        for (const Routine& routine : kRoutines) {
            for (const std::size_t below :
                 std::initializer_list<std::size_t>{1, 4, 15, 16, 17, 31, 32, 33, 48, 64, 127, 128, 1023, 1024, 1025}) {
                for (const std::size_t blocks : std::initializer_list<std::size_t>{1, 2, 3, 8, 9, 31, 65, 129})
                    check_overlapping(*kernels, routine, input, blocks, below);
            }
        }
    }
}

TEST(Sm4Kernels, ExtremeWords) {
    Random random;
    for (const std::uint32_t key : {0U, 0xffffffffU, 0x80000000U, 1U, 0x0f0f0f0fU}) {
        for (const Bytes::value_type byte : Bytes{0x00, 0xff, 0x80, 0x01, 0xf0}) {
            Input input = random_input(random);
            std::fill(input.rk.begin(), input.rk.end(), key);
            std::fill(input.data.begin(), input.data.end(), byte);
            std::fill(input.iv.begin(), input.iv.end(), byte);
            for (const Kernels* kernels : supported_kernels())
                for (const Routine& routine : kRoutines) check_apart(*kernels, routine, input, kMostBlocks);
        }
    }
}

}  // namespace
