// SM4: key set-up, single blocks, every mode, every overlap, tails and refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>

#include "UlmaroAlgrithm.h"
#include "UlmaroAlgrithmInternals.hpp"
#include "support/bytes.hpp"
#include "support/guarded.hpp"
#include "support/refusal.hpp"
#include "support/sm4_modes.hpp"

using namespace ulmaro::test;

namespace {

const char* const kExampleKey = "0123456789abcdeffedcba9876543210";
const char* const kOtherKey = "fedcba98765432100123456789abcdef";
const Bytes kIv = from_hex("000102030405060708090a0b0c0d0e0f");

std::vector<unsigned int> schedule(const char* key) {
    std::vector<unsigned int> rk(32);
    std::vector<unsigned int> mk = be_words(from_hex(key));
    KEY_EXPAND(mk.data(), rk.data());
    return rk;
}

// The mode over separate buffers with nothing to spare at their ends.
Bytes run(const Sm4Mode& mode, const Bytes& input, Sm4Key& key, const Bytes& iv = kIv) {
    Guarded<unsigned char> in{std::span<const unsigned char>(input)};
    Guarded<unsigned char> vector{std::span<const unsigned char>(iv)};
    Guarded<unsigned char> out(input.size());
    mode.run(in.data(), static_cast<int>(input.size()), key.for_mode(mode), vector.data(), out.data());
    EXPECT_TRUE(out.intact()) << mode.name;
    EXPECT_TRUE(std::ranges::equal(in.span(), input)) << mode.name << ": input changed";
    EXPECT_TRUE(std::ranges::equal(vector.span(), iv)) << mode.name << ": iv changed";
    return {out.span().begin(), out.span().end()};
}

TEST(Sm4Key, ExampleSchedule) {
    // GB/T 32907 annex A.1
    std::vector<unsigned int> expanded = schedule(kExampleKey);
    EXPECT_EQ(expanded[0], 0xf12186f9U);
    EXPECT_EQ(expanded[31], 0x9124a012U);

    const Bytes key = from_hex(kExampleKey);
    for (const auto set_up : {SM4_KEY_INIT, SMS4_KEY_INIT}) {
        Guarded<unsigned char> exact{std::span<const unsigned char>(key)};
        for (const int key_len : {16, 17, 32, INT_MAX}) {
            Guarded<unsigned int> rk(32);
            EXPECT_EQ(set_up(exact.data(), key_len, rk.data(), key_len == 17 ? INT_MAX : 32), 1);
            EXPECT_TRUE(std::ranges::equal(rk.span(), expanded)) << key_len;
            EXPECT_TRUE(rk.intact());
        }
        std::vector<unsigned int> roomy(64, 0x55555555);
        EXPECT_EQ(set_up(exact.data(), 16, roomy.data(), 64), 1);
        EXPECT_TRUE(std::equal(expanded.begin(), expanded.end(), roomy.begin()));
        EXPECT_EQ(std::count(roomy.begin() + 32, roomy.end(), 0x55555555U), 32);
    }
}

TEST(Sm4Key, RefusalsWriteNothing) {
    Bytes key = from_hex(kExampleKey);
    std::vector<unsigned int> rk(32, 0x55555555);
    const struct {
        const unsigned char* key;
        int key_len;
        unsigned int* rk;
        int rk_len;
    } cases[] = {
        {nullptr, 16, rk.data(), 32},       {key.data(), 15, rk.data(), 32},      {key.data(), 0, rk.data(), 32},
        {key.data(), -1, rk.data(), 32},    {key.data(), -16, rk.data(), 32},     {key.data(), INT_MIN, rk.data(), 32},
        {key.data(), 16, nullptr, 32},      {key.data(), 16, rk.data(), 31},      {key.data(), 16, rk.data(), 0},
        {key.data(), 16, rk.data(), -1},    {key.data(), 16, rk.data(), INT_MIN}, {nullptr, 0, nullptr, 0},
        {untouchable(), 15, rk.data(), 32}, {untouchable(), 16, rk.data(), 31},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SM4_KEY_INIT(c.key, c.key_len, c.rk, c.rk_len), -1) << c.key_len << " " << c.rk_len;
        EXPECT_EQ(std::count(rk.begin(), rk.end(), 0x55555555U), 32) << c.key_len << " " << c.rk_len;
    }
}

TEST(Sm4Key, KeyInsideItsOwnSchedule) {
    const std::vector<unsigned int> expected = schedule(kExampleKey);
    const Bytes key = from_hex(kExampleKey);
    for (std::size_t at = 0; at <= 112; ++at) {
        std::vector<unsigned int> rk(32);
        auto* bytes = reinterpret_cast<unsigned char*>(rk.data());
        std::memcpy(bytes + at, key.data(), 16);
        EXPECT_EQ(SM4_KEY_INIT(bytes + at, 16, rk.data(), 32), 1);
        ASSERT_EQ(rk, expected) << at;
    }
    for (std::size_t at = 0; at <= 28; ++at) {
        std::vector<unsigned int> rk(32);
        std::ranges::copy(be_words(key), rk.begin() + static_cast<std::ptrdiff_t>(at));
        KEY_EXPAND(rk.data() + at, rk.data());
        ASSERT_EQ(rk, expected) << at;
    }
}

TEST(Sm4Block, OutputAnywhereOverItsInputAndSchedule) {
    const Bytes plain = from_hex(kExampleKey);
    const Bytes cipher = from_hex("681edf34d206965e86b3e94f536e4246");
    const struct {
        void (*run)(unsigned int*, unsigned int*, unsigned int*);
        const Bytes& from;
        const Bytes& to;
    } cases[] = {{ECB_EN_MOD, plain, cipher}, {ECB_DE_MOD, cipher, plain}};
    for (const auto& c : cases) {
        for (std::size_t at = 0; at <= 8; ++at) {
            std::vector<unsigned int> words(12);
            std::vector<unsigned int> rk = schedule(kExampleKey);
            std::ranges::copy(be_words(c.from), words.begin() + 4);
            c.run(words.data() + 4, rk.data(), words.data() + at);
            EXPECT_EQ(be_bytes(std::span(words).subspan(at, 4)), c.to) << at;
            EXPECT_EQ(rk, schedule(kExampleKey));
        }
        for (std::size_t at = 0; at <= 28; ++at) {
            std::vector<unsigned int> rk = schedule(kExampleKey);
            std::vector<unsigned int> in = be_words(c.from);
            c.run(in.data(), rk.data(), rk.data() + at);
            EXPECT_EQ(be_bytes(std::span(rk).subspan(at, 4)), c.to) << at;
        }
    }
}

TEST(Sm4Block, MillionFoldEncryption) {
    // GB/T 32907 annex A.2
    std::vector<unsigned int> rk = schedule(kExampleKey);
    std::vector<unsigned int> block = be_words(from_hex(kExampleKey));
    for (int i = 0; i < 1'000'000; ++i) ECB_EN_MOD(block.data(), rk.data(), block.data());
    EXPECT_EQ(to_hex(be_bytes(block)), "595298c7c6fd271f0402f804c33d3f66");
}

TEST(Sm4Modes, PublishedVectors) {
    const char* const eight = "aaaaaaaabbbbbbbbccccccccddddddddeeeeeeeeffffffffaaaaaaaabbbbbbbb";
    const struct {
        bool cbc;
        const char* key;
        const char* plain;
        const char* cipher;
    } cases[] = {
        // draft-ribose-cfrg-sm4-10, A.1.1, A.1.4, A.2.1.1, A.2.1.2, A.2.2.1, A.2.2.2
        {false, kExampleKey, kExampleKey, "681edf34d206965e86b3e94f536e4246"},
        {false, kOtherKey, "000102030405060708090a0b0c0d0e0f", "f766678f13f01adeac1b3ea955adb594"},
        {false, kExampleKey, eight, "5ec8143de509cff7b5179f8f474b86192f1d305a7fb17df985f81c8482192304"},
        {false, kOtherKey, eight, "c5876897e4a59bbba72a10c83872245b12dd90bc2d200692b529a4155ac9e600"},
        {true, kExampleKey, eight, "78ebb11cc40b0a48312aaeb2040244cb4cb7016951909226979b0d15dc6a8f6d"},
        {true, kOtherKey, eight, "0d3a6ddc2d21c698857215587b7bb59a91f2c147911a4144665e1fa1d40bae38"},
    };
    for (const auto& c : cases) {
        Sm4Key key(from_hex(c.key));
        for (const auto& modes : {std::span(kSm4Modes), std::span(kSm4InternalModes)}) {
            for (const Sm4Mode& mode : modes) {
                if (mode.cbc != c.cbc) continue;
                EXPECT_EQ(to_hex(run(mode, from_hex(mode.decrypts ? c.cipher : c.plain), key)),
                          mode.decrypts ? c.plain : c.cipher)
                    << mode.name;
            }
        }
    }
}

// One figure a mode: SM3 over the outputs for 1 to 40 blocks of the pattern, made with the openssl command.
TEST(Sm4Modes, EveryBlockCount) {
    const char* const figures[] = {
        "a36e7e3eb8ff6c98d470363414f5a39fa6a4f0024a5bd0e0d2c025322f8347dd",
        "3b7e8f386f74ed96b31f5ea0bd61437860c29b66959b3007b9518022028248c3",
        "4f0c1db2b0a1e4aaf35fcef5ea02feb80963559d3816f2ef588eac51d4e44282",
        "8dc0984dc755f7b2e6d5aceb2bebc2a8ce2cfd9d213558e49c6104fa9d61f7d6",
        "4f0c1db2b0a1e4aaf35fcef5ea02feb80963559d3816f2ef588eac51d4e44282",
        "8dc0984dc755f7b2e6d5aceb2bebc2a8ce2cfd9d213558e49c6104fa9d61f7d6",
    };
    Sm4Key key(from_hex(kExampleKey));
    for (std::size_t m = 0; m < std::size(kSm4Modes); ++m) {
        Bytes outputs;
        for (std::size_t blocks = 1; blocks <= 40; ++blocks) {
            const Bytes out = run(kSm4Modes[m], pattern(16 * blocks), key);
            outputs.insert(outputs.end(), out.begin(), out.end());
        }
        unsigned char digest[32];
        SM3_HASH(outputs.data(), static_cast<int>(outputs.size()), digest);
        EXPECT_EQ(to_hex(digest), figures[m]) << kSm4Modes[m].name;
    }
}

TEST(Sm4Modes, ChainingCarriesOverCalls) {
    Sm4Key key(from_hex(kExampleKey));
    const Bytes message = pattern(16 * 11);
    for (const Sm4Mode& mode : kSm4Modes) {
        const Bytes whole = run(mode, message, key);
        for (std::size_t cut = 16; cut < message.size(); cut += 16) {
            const auto middle = static_cast<std::ptrdiff_t>(cut);
            Bytes joined = run(mode, {message.begin(), message.begin() + middle}, key);
            const Bytes& ciphertext = mode.decrypts ? message : joined;
            const Bytes next_iv(ciphertext.begin() + middle - 16, ciphertext.begin() + middle);
            const Bytes rest = run(mode, {message.begin() + middle, message.end()}, key, next_iv);
            joined.insert(joined.end(), rest.begin(), rest.end());
            ASSERT_EQ(joined, whole) << mode.name << " cut at " << cut;
        }
    }
}

TEST(Sm4Modes, BytesAfterTheLastWholeBlockStay) {
    Sm4Key key(from_hex(kExampleKey));
    for (const Sm4Mode& mode : kSm4Modes) {
        for (std::size_t length = 0; length < 16 * 10; ++length) {
            const std::size_t whole = length / 16 * 16;
            Bytes expected = run(mode, pattern(whole), key);
            expected.resize(length, 0xc5);  // the canary of the buffer
            ASSERT_EQ(to_hex(run(mode, pattern(length), key)), to_hex(expected)) << mode.name << " " << length;
        }
    }
}

TEST(Sm4Modes, OutputOverTheInputAtEveryDistance) {
    Sm4Key key(from_hex(kExampleKey));
    for (const Sm4Mode& mode : kSm4Modes) {
        for (const std::size_t length : {16U, 32U, 37U, 80U, 16 * 9U, 16 * 17U}) {
            const std::size_t whole = length / 16 * 16;
            const Bytes result = run(mode, pattern(whole), key);
            for (std::size_t at = 0; at <= 2 * length + 2; ++at) {
                Bytes arena(3 * length + 2, 0xee);
                std::ranges::copy(pattern(length), arena.begin() + static_cast<std::ptrdiff_t>(length + 1));
                Bytes expected = arena;
                std::ranges::copy(result, expected.begin() + static_cast<std::ptrdiff_t>(at));
                Bytes iv = kIv;
                mode.run(arena.data() + length + 1, static_cast<int>(length), key.for_mode(mode), iv.data(),
                         arena.data() + at);
                ASSERT_EQ(to_hex(arena), to_hex(expected)) << mode.name << " " << length << " at " << at;
                ASSERT_EQ(iv, kIv);
            }
        }
    }
}

// The whole result is formed before the first byte of it is stored, so it may also land on the iv and on the key, and
// on the input beside them.
TEST(Sm4Modes, OutputOverTheIvAndTheKeyAtEveryDistance) {
    constexpr std::size_t kLongest = 16 * 9;
    for (const Sm4Mode& mode : kSm4Modes) {
        Sm4Key key(from_hex(kExampleKey));
        for (const std::size_t length : {std::size_t{16}, std::size_t{48}, kLongest}) {
            const Bytes result = run(mode, pattern(length), key);
            for (const bool over_iv : {false, true}) {
                if (over_iv && !mode.cbc) continue;
                const std::size_t size = over_iv || mode.raw_key ? 16 : 128;
                for (std::size_t at = 0; at <= kLongest + size + length; ++at) {
                    // Room for the output, then the iv or the key, the input, and the output again.
                    std::vector<unsigned int> words((3 * kLongest + 128) / 4 + 1);
                    auto* arena = reinterpret_cast<unsigned char*>(words.data());
                    unsigned char* overlaid = arena + kLongest;
                    unsigned char* in = overlaid + size;
                    Bytes iv = kIv;
                    std::memcpy(overlaid, over_iv ? static_cast<void*>(iv.data()) : key.for_mode(mode), size);
                    std::memcpy(in, pattern(length).data(), length);
                    mode.run(in, static_cast<int>(length), over_iv ? key.for_mode(mode) : overlaid,
                             over_iv ? overlaid : iv.data(), arena + at);
                    ASSERT_EQ(to_hex({arena + at, length}), to_hex(result))
                        << mode.name << " " << length << (over_iv ? " iv at " : " key at ") << at;
                }
            }
        }
    }
}

// In place with the iv, or the raw key, part of the very buffer.
TEST(Sm4Modes, IvAndKeyInsideTheBuffer) {
    for (const Sm4Mode& mode : kSm4Modes) {
        if (!mode.cbc) continue;
        for (const std::size_t length : {16U, 48U, 16 * 9U}) {
            for (std::size_t at = 0; at + 16 <= length; ++at) {
                Bytes buffer = pattern(length);
                const auto first = buffer.begin() + static_cast<std::ptrdiff_t>(at);
                const Bytes inside(first, first + 16);
                Sm4Key key(mode.raw_key ? inside : from_hex(kExampleKey));
                const Bytes expected = run(mode, buffer, key, inside);
                mode.run(buffer.data(), static_cast<int>(length),
                         mode.raw_key ? buffer.data() + at : key.for_mode(mode), buffer.data() + at, buffer.data());
                ASSERT_EQ(to_hex(buffer), to_hex(expected)) << mode.name << " " << length << " at " << at;
            }
        }
    }
}

TEST(Sm4Modes, LengthsBelowOneBlock) {
    Sm4Key key(from_hex(kExampleKey));
    for (const auto& modes : {std::span(kSm4Modes), std::span(kSm4InternalModes)}) {
        for (const Sm4Mode& mode : modes) {
            Bytes iv = kIv;
            for (const int length : {0, -1, -2, -3}) {
                EXPECT_EQ(
                    outcome_of([&] { mode.run(untouchable(), length, key.for_mode(mode), iv.data(), untouchable()); }),
                    Outcome::returned)
                    << mode.name << " " << length;
            }
            EXPECT_EQ(iv, kIv);
            for (const int length : {-4, -5, -15, -16, -17, -1000, INT_MIN + 1, INT_MIN}) {
                EXPECT_EQ(
                    outcome_of([&] { mode.run(untouchable(), length, untouchable(), untouchable(), untouchable()); }),
                    Outcome::bad_array_new_length)
                    << mode.name << " " << length;
            }
        }
    }
}

TEST(Sm4Words, AgreeWithTheByteModes) {
    Sm4Key key(from_hex(kOtherKey));
    const struct {
        void (*run)(unsigned int*, int, unsigned int*, unsigned int*, unsigned int*);
        const Sm4Mode& bytes;
    } pairs[] = {{CBC_EN_MOD, kSm4Modes[2]}, {CBC_DE_MOD, kSm4Modes[3]}};
    for (const auto& p : pairs) {
        for (std::size_t length = 0; length <= 45; ++length) {
            const std::size_t whole = length / 4 * 4;
            const std::vector<unsigned int> expected = be_words(run(p.bytes, pattern(4 * whole), key));
            const std::vector<unsigned int> input = be_words(pattern(4 * length));
            Guarded<unsigned int> in{std::span<const unsigned int>(input).first(whole)};  // the tail is not read
            Guarded<unsigned int> rk{std::span<const unsigned int>(key.schedule)};
            Guarded<unsigned int> iv{std::span<const unsigned int>(be_words(kIv))};
            Guarded<unsigned int> out(whole);
            p.run(in.data(), static_cast<int>(length), rk.data(), iv.data(), out.data());
            ASSERT_TRUE(std::ranges::equal(out.span(), expected)) << p.bytes.name << " " << length;
            ASSERT_TRUE(out.intact());
            ASSERT_TRUE(std::ranges::equal(in.span(), std::span(input).first(whole))) << "input changed";
            EXPECT_EQ(be_bytes(iv.span()), kIv);

            p.run(in.data(), static_cast<int>(length), rk.data(), iv.data(), in.data());
            ASSERT_TRUE(std::ranges::equal(in.span(), expected)) << p.bytes.name << " in place " << length;
        }
        std::vector<unsigned int> iv = be_words(kIv);
        for (const int length : {3, 0, -1, -3, -4, -8, INT_MIN}) {
            p.run(untouchable<unsigned int>(), length, key.schedule, iv.data(), untouchable<unsigned int>());
        }
        // The iv is read before anything is stored.
        std::vector<unsigned int> in = be_words(pattern(16));
        p.run(in.data(), 4, key.schedule, iv.data(), iv.data());
        EXPECT_EQ(be_bytes(iv), run(p.bytes, pattern(16), key));
    }
}

}  // namespace
