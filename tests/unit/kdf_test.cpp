// Key derivation: the standard's example, the counter, every cut of the last block, overlap, refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "UlmaroAlgrithm.h"
#include "UlmaroAlgrithmInternals.hpp"
#include "support/bytes.hpp"
#include "support/guarded.hpp"
#include "support/refusal.hpp"

using namespace ulmaro::test;

namespace {

using Kdf = void (*)(unsigned char*, int, int, unsigned char*);
const Kdf kApis[] = {
    [](unsigned char* z, int z_len, int k_len, unsigned char* out) { SM2_KDF_ALGRITRHM(z, z_len, k_len, out); },
    KDF_ALGRITRHM,
};

Bytes derive(const Bytes& z, std::size_t length, Kdf kdf = kApis[0]) {
    Guarded<unsigned char> in{std::span<const unsigned char>(z)};
    Guarded<unsigned char> out(length);
    kdf(in.data(), static_cast<int>(z.size()), static_cast<int>(length), out.data());
    EXPECT_TRUE(out.intact());
    EXPECT_TRUE(std::ranges::equal(in.span(), z)) << "z changed";
    return {out.span().begin(), out.span().end()};
}

// The definition, on top of the one-shot hash.
Bytes hash_with_counter(Bytes z, unsigned int counter) {
    for (const unsigned char b : be_bytes(std::span(&counter, 1))) z.push_back(b);
    Bytes digest(32);
    SM3_HASH(z.data(), static_cast<int>(z.size()), digest.data());
    return digest;
}

TEST(Kdf, StandardExample) {
    // The encryption example on the recommended curve of GM/T 0003.5: x2 || y2 and t, 152 bits.
    const Bytes z = from_hex(
        "335e18d751e51f040e27d468138b7ab1dc86ad7f981d7d416222fd6ab3ed230d"
        "ab743ebcfb22d64f7b6ab791f70658f25b48fa93e54064fdbfbed3f0bd847ac9");
    for (const Kdf kdf : kApis) EXPECT_EQ(to_hex(derive(z, 19, kdf)), "44e60fdbf0bae81437665374bef26749046c9e");
}

// One figure for zLen 0 to 130 with 33 bytes each: SM3 over the streams, made with the openssl command.
TEST(Kdf, EveryInputLength) {
    Bytes streams;
    for (std::size_t length = 0; length <= 130; ++length) {
        const Bytes stream = derive(pattern(length), 33);
        streams.insert(streams.end(), stream.begin(), stream.end());
    }
    unsigned char digest[32];
    SM3_HASH(streams.data(), static_cast<int>(streams.size()), digest);
    EXPECT_EQ(to_hex(digest), "9a41d2a43157b6b2e20cc0b71c74df5519112fc97ccd5b60b2e32b9f76632212");
}

TEST(Kdf, EveryOutputLengthIsAPrefixOfTheCountedDigests) {
    for (const std::size_t z_len : {0U, 1U, 51U, 52U, 60U, 64U, 128U}) {
        const Bytes z = pattern(z_len);
        Bytes stream;
        for (unsigned int counter = 1; counter <= 257; ++counter) {
            const Bytes digest = hash_with_counter(z, counter);
            stream.insert(stream.end(), digest.begin(), digest.end());
        }
        const auto prefix = [&](std::size_t n) {
            return Bytes(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(n));
        };
        for (std::size_t k_len = 0; k_len <= 130; ++k_len) ASSERT_EQ(derive(z, k_len), prefix(k_len)) << k_len;
        // Past 255 blocks the counter fills its third byte.
        for (const std::size_t k_len : {8160U, 8192U, 8193U}) ASSERT_EQ(derive(z, k_len), prefix(k_len)) << k_len;
    }
}

TEST(Kdf, NothingWantedWritesNothing) {
    Bytes z = pattern(64);
    for (const int k_len : {0, -1, -31, -32, -33, -64, INT_MIN}) {
        for (const Kdf kdf : kApis) kdf(z.data(), 64, k_len, untouchable());
    }
    for (const Kdf kdf : kApis) {
        unsigned char out[32];
        kdf(nullptr, 0, 32, out);
        EXPECT_EQ(to_hex(out), to_hex(hash_with_counter({}, 1))) << "an empty z may be null";
    }
}

TEST(Kdf, OutputOverTheInputAtEveryDistance) {
    for (const std::size_t z_len : {20U, 64U}) {
        const Bytes z = pattern(z_len);
        for (const std::size_t k_len : {16U, 32U, 100U}) {
            const Bytes expected = derive(z, k_len);
            for (std::size_t at = 0; at <= k_len + z_len; ++at) {
                Bytes arena(k_len + z_len + k_len, 0xee);
                std::ranges::copy(z, arena.begin() + static_cast<std::ptrdiff_t>(k_len));
                SM2_KDF_ALGRITRHM(arena.data() + k_len, static_cast<int>(z_len), static_cast<int>(k_len),
                                  arena.data() + at);
                ASSERT_EQ(to_hex(std::span(arena).subspan(at, k_len)), to_hex(expected)) << z_len << " " << at;
            }
        }
    }
}

TEST(Kdf, NegativeInputLengthIsRefusedBeforeAnythingIsTouched) {
    for (const int z_len : {-1, -3, -4, -5, -64, INT_MIN}) {
        for (const int k_len : {0, 1, 32, 100}) {
            for (const Kdf kdf : kApis) {
                EXPECT_EQ(outcome_of([&] { kdf(untouchable(), z_len, k_len, untouchable()); }),
                          Outcome::bad_array_new_length)
                    << z_len << " " << k_len;
            }
        }
    }
}

}  // namespace
