// SM3: digests, the state of a stream after every call, and what happens at the limits.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>

#include "UlmaroAlgrithm.h"
#include "UlmaroAlgrithmInternals.hpp"
#include "support/bytes.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/refusal.hpp"
#include "support/sm3_reference.hpp"

using namespace ulmaro::test;

namespace {

// The C entry points and the routines behind them answer alike, so most tests run over both.
struct Api {
    const char* name;
    void (*init)(SM3_CTX*);
    void (*update)(SM3_CTX*, unsigned char*, int);
    void (*final)(SM3_CTX*, unsigned char*);
    void (*hash)(unsigned char*, int, unsigned char*);
};
const Api kApis[] = {
    {"C", SM3_Init, [](SM3_CTX* c, unsigned char* in, int len) { SM3_Update(c, in, len); }, SM3_Final,
     [](unsigned char* in, int len, unsigned char* out) { SM3_HASH(in, len, out); }},
    {"_ex", SM3_Init_ex, SM3_Update_ex, SM3_Final_ex, SM3_HASH_ex},
};

std::string hash(Bytes message, const Api& api = kApis[0]) {
    Guarded<unsigned char> in{std::span<const unsigned char>(message)};
    Guarded<unsigned char> digest(32);
    api.hash(in.data(), static_cast<int>(message.size()), digest.data());
    EXPECT_TRUE(digest.intact());
    EXPECT_EQ(to_hex(in.span()), to_hex(message)) << "input changed";
    return to_hex(digest.span());
}

std::string finish(SM3_CTX ctx, const Api& api = kApis[0]) {
    Guarded<unsigned char> digest(32);
    api.final(&ctx, digest.data());
    EXPECT_TRUE(digest.intact());
    return to_hex(digest.span());
}

SM3_CTX absorbed(Bytes message) {
    SM3_CTX ctx;
    SM3_Init(&ctx);
    SM3_Update(&ctx, message.data(), static_cast<int>(message.size()));
    return ctx;
}

// Chaining value after one more block, by the reference.
Words8 chained(const SM3_CTX& ctx, const Bytes& block) {
    Words8 v;
    std::copy_n(ctx.V, 8, v.begin());
    return sm3_compress(v, sm3_expand(be_words(block)), ctx.T);
}

std::string hex_of(const Words8& words) { return to_hex(be_bytes(words)); }

// The state that a stream must have after absorbing `message`, but for V.
void expect_state(const SM3_CTX& ctx, const Bytes& message) {
    const std::size_t pending = message.size() % 64;
    EXPECT_EQ(ctx.num, static_cast<int>(pending));
    EXPECT_EQ(ctx.total_len, message.size());
    Bytes block(message.end() - static_cast<std::ptrdiff_t>(pending), message.end());
    block.resize(64);
    EXPECT_EQ(to_hex(ctx.block), to_hex(block));
    for (int j = 0; j < 64; ++j) ASSERT_EQ(ctx.T[j], sm3_constant(j)) << j;
}

TEST(Sm3, PublishedDigests) {
    const struct {
        const char* unit;
        int times;
        const char* digest;
    } cases[] = {
        // GM/T 0004 annex A.1 and A.2
        {"abc", 1, "66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0"},
        {"abcd", 16, "debe9ff92275b8a138604889c18e5a4d6fdb70e5387e5765293dcba39c0c5732"},
        // The collection in Debian's python3-cryptography-vectors
        {"", 1, "1ab21d8355cfa17f8e61194831e81a8f22bec8c728fefb747ed035eb5082aa2b"},
        {"a", 1, "623476ac18f65a2909e43c7fec61b49c7e764a91a18ccb82f1917a29c86c5e88"},
        {"abcdefghijklmnopqrstuvwxyz", 1, "b80fe97a4da24afc277564f66a359ef440462ad28dcc6d63adb24d5c20a61595"},
        {"abcd", 64, "b965764c8bebb091c7602b74afd34eefb531dccb4e0076d9b7cd813199b45971"},
        {"a", 1'000'000, "c8aaf89429554029e231941a2acc0ad61ff2a5acd8fadd25847a3a732b3b02c3"},
    };
    for (const auto& c : cases) {
        Bytes message;
        const std::string unit = c.unit;
        for (int i = 0; i < c.times; ++i) message.insert(message.end(), unit.begin(), unit.end());
        for (const Api& api : kApis) EXPECT_EQ(hash(message, api), c.digest) << unit << " x " << c.times << api.name;
    }
}

// One figure for the lengths 0 to 200: SM3 over their digests one after another, made with the openssl command.
TEST(Sm3, EveryLengthAroundTheBlockEdges) {
    Bytes digests;
    for (std::size_t length = 0; length <= 200; ++length) {
        const Bytes digest = from_hex(hash(pattern(length)));
        digests.insert(digests.end(), digest.begin(), digest.end());
    }
    EXPECT_EQ(hash(digests), "75a9e120cac7c3a716847df06313f90a6013cbdfe30c013338f8e52753df182b");
}

TEST(Sm3, NullInputOfNoBytes) {
    for (const Api& api : kApis) {
        unsigned char digest[32];
        api.hash(nullptr, 0, digest);
        EXPECT_EQ(to_hex(digest), hash({})) << api.name;
        SM3_CTX ctx = absorbed(pattern(70));
        const Bytes before = snapshot(ctx);
        api.update(&ctx, nullptr, 0);
        EXPECT_EQ(snapshot(ctx), before) << api.name;
    }
}

TEST(Sm3, InitWritesTheWholeContext) {
    for (const Api& api : kApis) {
        Guarded<SM3_CTX> ctx(1);
        api.init(ctx.data());
        EXPECT_TRUE(ctx.intact());
        expect_state(*ctx.data(), {});
        EXPECT_TRUE(std::equal(kSm3Iv.begin(), kSm3Iv.end(), ctx.data()->V));
    }
}

TEST(Sm3, AnySplitKeepsTheStateAndTheDigest) {
    Random random;
    for (std::size_t length = 0; length <= 200; ++length) {
        const Bytes message = pattern(length);
        const std::string digest = hash(message);
        for (const std::size_t largest : {std::size_t{1}, std::size_t{20}, std::size_t{130}}) {
            const Api& api = kApis[length % 2];
            SM3_CTX ctx;
            api.init(&ctx);
            Words8 v = kSm3Iv;
            for (std::size_t done = 0; done < length;) {
                const std::size_t step = std::min(random.up_to(largest), length - done);
                // Whatever lies above the bytes that wait gives way to zeros.
                std::fill(ctx.block + ctx.num, std::end(ctx.block), 0xa7);
                Guarded<unsigned char> piece{std::span(message).subspan(done, step)};
                api.update(&ctx, piece.data(), static_cast<int>(step));
                for (std::size_t block = done / 64; block < (done + step) / 64; ++block) {
                    v = sm3_compress(v, sm3_expand(be_words(std::span(message).subspan(64 * block, 64))), ctx.T);
                }
                done += step;
                expect_state(ctx, Bytes(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(done)));
                ASSERT_TRUE(std::equal(v.begin(), v.end(), ctx.V)) << length << " at " << done;
            }
            ASSERT_EQ(finish(ctx, api), digest) << length;
        }
    }
}

TEST(Sm3, FinalKeepsTheTailAndASecondOneDiffers) {
    for (const std::size_t length : {0U, 3U, 55U, 56U, 63U, 64U, 100U}) {
        const Bytes message = pattern(length);
        for (const Api& api : kApis) {
            SM3_CTX ctx = absorbed(message);
            unsigned char first[32];
            unsigned char second[32];
            api.final(&ctx, first);
            EXPECT_EQ(to_hex(be_bytes(ctx.V)), to_hex(first)) << length;
            expect_state(ctx, message);

            // The same tail once more, on top of the finished value.
            Bytes tail(ctx.block, ctx.block + 64);
            tail[length % 64] = 0x80;
            SM3_CTX again = ctx;
            if (length % 64 >= 56) {
                std::ranges::copy(chained(again, tail), again.V);
                tail.assign(64, 0);
            }
            tail[62] = static_cast<unsigned char>(length * 8 >> 8);
            tail[63] = static_cast<unsigned char>(length * 8);
            api.final(&ctx, second);
            EXPECT_EQ(to_hex(second), hex_of(chained(again, tail))) << length;
        }
    }
}

// The length field is the low 32 bits of the bit count, so it starts again at 2^29 bytes.
TEST(Sm3, LengthFieldHolds32Bits) {
    const struct {
        unsigned int total;
        std::size_t pending;
        unsigned int length_word;
    } cases[] = {
        {0x1fffffff, 63, 0xfffffff8}, {0x20000000, 0, 0},           {0x20000003, 3, 24},
        {0x40000037, 55, 440},        {0xffffffff, 63, 0xfffffff8}, {0x80000038, 56, 448},
    };
    for (const auto& c : cases) {
        SM3_CTX ctx = absorbed(pattern(c.pending));
        ctx.total_len = c.total;
        Bytes tail = pattern(c.pending);
        tail.push_back(0x80);
        tail.resize(c.pending < 56 ? 60 : 124);
        for (const unsigned char b : be_bytes(std::span(&c.length_word, 1))) tail.push_back(b);
        SM3_CTX expected = ctx;
        for (std::size_t at = 0; at < tail.size(); at += 64) {
            const Bytes block(tail.begin() + static_cast<std::ptrdiff_t>(at),
                              tail.begin() + static_cast<std::ptrdiff_t>(at) + 64);
            std::ranges::copy(chained(expected, block), expected.V);
        }
        EXPECT_EQ(finish(ctx), to_hex(be_bytes(expected.V))) << c.total;
    }

    SM3_CTX ctx = absorbed(pattern(48));
    ctx.total_len = 0xfffffff0;
    Bytes more = pattern(20);
    SM3_Update(&ctx, more.data(), 20);
    EXPECT_EQ(ctx.total_len, 4U);
    EXPECT_EQ(ctx.num, 4);
}

// The message is taken as it stands once the length has been counted: total_len may itself be part of it.
TEST(Sm3, InputInsideTheContext) {
    const SM3_CTX start = absorbed(pattern(100));
    const struct {
        std::size_t offset;
        std::size_t length;
    } cases[] = {{292, 64}, {292, 36}, {300, 20}, {4, 32}, {37, 200}, {0, 292}, {0, 356}, {0, 360}, {353, 7}};
    for (const auto& c : cases) {
        SM3_CTX ctx = start;
        SM3_CTX counted = start;
        counted.total_len += static_cast<unsigned int>(c.length);
        const auto inside = object_bytes(counted).subspan(c.offset, c.length);
        Bytes message = pattern(100);
        message.insert(message.end(), inside.begin(), inside.end());

        SM3_Update(&ctx, object_bytes(ctx).data() + c.offset, static_cast<int>(c.length));
        expect_state(ctx, message);
        EXPECT_EQ(finish(ctx), hash(message)) << c.offset << " " << c.length;
    }
}

TEST(Sm3, DigestOverTheInput) {
    for (const std::size_t length : {0U, 1U, 31U, 32U, 64U, 70U, 200U}) {
        const std::string digest = hash(pattern(length));
        for (std::size_t at = 0; at <= 32 + length; ++at) {
            Bytes arena(32 + length + 32, 0xee);
            std::ranges::copy(pattern(length), arena.begin() + 32);
            SM3_HASH(arena.data() + 32, static_cast<int>(length), arena.data() + at);
            ASSERT_EQ(to_hex(std::span(arena).subspan(at, 32)), digest) << length << " at " << at;
        }
    }
    SM3_CTX ctx = absorbed(pattern(100));
    SM3_Final(&ctx, ctx.block);
    EXPECT_EQ(to_hex(std::span(ctx.block).first(32)), hash(pattern(100)));
}

TEST(Sm3, NegativeLengthsAreRefusedBeforeAnythingIsTouched) {
    for (const int length : {-1, -9, -10, -11, -64, -1000, INT_MIN}) {
        for (const std::size_t pending : {0U, 10U, 63U}) {
            for (const Api& api : kApis) {
                SM3_CTX ctx = absorbed(pattern(pending));
                const Bytes before = snapshot(ctx);
                EXPECT_EQ(outcome_of([&] { api.update(&ctx, untouchable(), length); }), Outcome::bad_array_new_length);
                EXPECT_EQ(snapshot(ctx), before) << length << " with " << pending;
                EXPECT_EQ(outcome_of([&] { api.hash(untouchable(), length, untouchable()); }),
                          Outcome::bad_array_new_length);
            }
        }
    }
}

TEST(Sm3, CompressionOfOneBlock) {
    Random random;
    for (int round = 0; round < 50; ++round) {
        SM3_CTX ctx = absorbed(random.bytes(100));
        // The constants are those of the context, whatever it holds.
        if (round % 2 != 0) ctx.T[random.up_to(63)] ^= 1U << random.up_to(31);
        SM3_CTX expected = ctx;
        const Bytes block = random.bytes(64);
        Guarded<unsigned int> words{std::span<const unsigned int>(be_words(block))};
        SM3_OPERAAT(&ctx, words.data());
        std::ranges::copy(chained(expected, block), expected.V);
        ASSERT_EQ(snapshot(ctx), snapshot(expected)) << round;
        EXPECT_EQ(be_bytes(words.span()), block);
    }

    SM3_CTX ctx;
    SM3_Init(&ctx);
    SM3_CTX expected = ctx;
    std::ranges::copy(chained(expected, be_bytes(std::span(ctx.T).first(16))), expected.V);
    SM3_OPERAAT(&ctx, ctx.T);
    EXPECT_EQ(snapshot(ctx), snapshot(expected)) << "block words inside the context";
}

// The routine takes both expansions as they are given, so they need not belong to one block.
TEST(Sm3, RoundsOverGivenExpansions) {
    Random random;
    for (int round = 0; round < 50; ++round) {
        SM3_CTX ctx = absorbed(random.bytes(100));
        if (round % 2 != 0) ctx.T[random.up_to(63)] ^= 1U << random.up_to(31);
        const Bytes before = snapshot(ctx);
        Sm3Schedule s;
        Words8 v;
        for (unsigned int& w : s.w) w = random.word();
        for (unsigned int& w : s.w_prime) w = random.word();
        for (unsigned int& w : v) w = random.word();
        const Words8 expected = sm3_compress(v, s, ctx.T);

        Guarded<unsigned int> w{std::span<const unsigned int>(s.w)};
        Guarded<unsigned int> w_prime{std::span<const unsigned int>(s.w_prime)};
        Guarded<unsigned int> in{std::span<const unsigned int>(v)};
        Guarded<unsigned int> out(8);
        CF_FUNCTION(&ctx, nullptr, in.data(), w.data(), w_prime.data(), out.data());
        ASSERT_EQ(to_hex(be_bytes(out.span())), hex_of(expected)) << round;
        EXPECT_TRUE(out.intact());
        EXPECT_TRUE(std::ranges::equal(in.span(), v) && std::ranges::equal(w.span(), s.w));
        EXPECT_EQ(snapshot(ctx), before);
        CF_FUNCTION(&ctx, untouchable<unsigned int>(), in.data(), w.data(), w_prime.data(), in.data());
        EXPECT_EQ(to_hex(be_bytes(in.span())), hex_of(expected)) << "in place";
    }
}

}  // namespace
