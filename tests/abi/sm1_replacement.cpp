// A program that supplies its own SM1 primitives: the shared library must call them, with the arguments of the
// contract.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <sstream>

#include "UlmaroAlgrithm.h"
#include "support/bytes.hpp"

using namespace ulmaro::test;

namespace {

// A line for every call with what it was given, and how the primitives are to answer.
struct Trace {
    std::string calls;
    int key_init_result = 1;
    unsigned int add = 0;
};
Trace trace;

constexpr unsigned int enc_mark = 0x11111111, dec_mark = 0x22222222;

bool all_equal(const unsigned int* words, std::size_t count, unsigned int value) {
    return std::all_of(words, words + count, [=](unsigned int w) { return w == value; });
}

template <class... Arguments>
std::string line(const std::string& name, Arguments... arguments) {
    std::ostringstream text;
    text << name;
    ((text << ' ' << arguments), ...);
    text << '\n';
    return text.str();
}

const void* at(const void* pointer) { return pointer; }

void block(const char* name, const unsigned int* in, int size, const unsigned int* key, unsigned int mark,
           unsigned int* out) {
    const std::string bytes = to_hex(be_bytes(std::span(in, 4)));
    trace.calls += line(name, size, bytes, all_equal(key, 72, mark), all_equal(out, 4, 0));
    std::copy_n(in, 4, out);
    out[0] += trace.add;
}

#define FREE_FORM(name)                                                                     \
    void name(void* a, void* b, void* c, void* d, void* e, void* f, void* g, void* h) {     \
        trace.calls += line(#name, at(a), at(b), at(c), at(d), at(e), at(f), at(g), at(h)); \
    }

}  // namespace

extern "C" {
int KEY_INIT(const unsigned char* key, int key_len, unsigned int* enc, int enc_size, unsigned int* dec, int dec_size) {
    const bool zero = all_equal(enc, 72, 0) && all_equal(dec, 72, 0) && enc != dec;
    trace.calls += line("KEY_INIT", at(key), key_len, enc_size, dec_size, zero);
    std::fill_n(enc, 72, enc_mark);
    std::fill_n(dec, 72, dec_mark);
    return trace.key_init_result;
}
void ECB_EN(const unsigned int* in, int size, const unsigned int* key, unsigned int* out) {
    block("ECB_EN", in, size, key, enc_mark, out);
}
void ECB_DE(const unsigned int* in, int size, const unsigned int* key, unsigned int* out) {
    block("ECB_DE", in, size, key, dec_mark, out);
}
void X_CBC_EN_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* enc, int len, int iv_len,
                   unsigned char* out) {
    trace.calls += line("X_CBC_EN_MODE", at(in), at(iv), all_equal(enc, 72, enc_mark), len, iv_len, at(out));
}
void X_CBC_DE_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* enc, const unsigned int* dec,
                   int len, int iv_len, unsigned char* out) {
    const bool arrived = all_equal(enc, 72, enc_mark) && all_equal(dec, 72, dec_mark);
    trace.calls += line("X_CBC_DE_MODE", at(in), at(iv), arrived, len, iv_len, at(out));
}
FREE_FORM(KEY_EXTEND)
FREE_FORM(X_ECB_EN_MODE)
FREE_FORM(X_ECB_DE_MODE)
}

namespace {

constexpr struct {
    decltype(&SM1_X_ECB_EN_MODE_EX) ecb;
    decltype(&SM1_X_CBC_EN_MODE_EX) cbc;
    const char *block, *mode;
} ways[] = {{SM1_X_ECB_EN_MODE_EX, SM1_X_CBC_EN_MODE_EX, "ECB_EN", "X_CBC_EN_MODE"},
            {SM1_X_ECB_DE_MODE_EX, SM1_X_CBC_DE_MODE_EX, "ECB_DE", "X_CBC_DE_MODE"}};
const Bytes key = pattern(16), iv = pattern(16);

/// What KEY_INIT can return; anything but 1 stops the call.
constexpr int key_results[] = {1, 0, -1, 2, 257, INT_MIN};

TEST(Sm1Replacement, EcbDrivesTheBlockPrimitive) {
    for (const auto& way : ways) {
        for (const int result : key_results) {
            for (const int length : {INT_MIN, -1, 0, 1, 16, 17, 33, 64}) {
                const unsigned int add = length % 2 == 0;  // 1: in place too
                const Bytes in =
                    pattern(result == 1 && length > 0 ? (static_cast<std::size_t>(length) + 15) / 16 * 16 : 0);
                Bytes buffer = in, expected = in;
                buffer.resize(in.size() + 16, 0xee);
                expected.resize(buffer.size(), 0xee);
                std::string calls = line("KEY_INIT", at(key.data()), -5, 288, 288, true);
                for (std::size_t i = 0; i < in.size(); i += 16) {
                    expected[i + 3] = static_cast<unsigned char>(expected[i + 3] + add);
                    calls += line(way.block, 8, to_hex(std::span(in).subspan(i, 16)), true, true);
                }
                trace = {"", result, add};
                const unsigned char* from = add != 0 ? buffer.data() : in.data();
                EXPECT_EQ(way.ecb(key.data(), -5, nullptr, from, length, buffer.data()), result == 1 ? 1 : -1);
                EXPECT_EQ(trace.calls, calls) << length << ": blocks in order, words big-endian";
                EXPECT_EQ(buffer, expected) << length;
            }
        }
    }
}

TEST(Sm1Replacement, CbcHandsItsArgumentsOver) {
    const Bytes in = pattern(40);
    Bytes out(40);
    for (const auto& way : ways) {
        for (const int result : key_results) {
            for (const int length : {INT_MIN, -1, 0, 17, 40}) {
                trace = {"", result};
                EXPECT_EQ(way.cbc(key.data(), 16, iv.data(), 77, in.data(), length, out.data()), result == 1 ? 1 : -1);
                std::string calls = line("KEY_INIT", at(key.data()), 16, 288, 288, true);
                if (result == 1)
                    calls += line(way.mode, at(in.data()), at(iv.data()), true, length, 77, at(out.data()));
                EXPECT_EQ(trace.calls, calls);
            }
        }
    }
    EXPECT_EQ(out, Bytes(40));
}

TEST(Sm1Replacement, ForwardersPassArgumentsAndResultsThrough) {
    unsigned int enc[72] = {}, dec[72] = {}, out[4] = {};
    trace = {"", -123456};
    EXPECT_EQ(SM1_KEY_INIT(key.data(), 1, enc, 2, dec, 3), -123456);
    EXPECT_TRUE(all_equal(enc, 72, enc_mark) && all_equal(dec, 72, dec_mark));
    const std::vector<unsigned int> in = be_words(pattern(16));
    SM1_ECB_EN(in.data(), -9, enc, out);
    EXPECT_TRUE(std::ranges::equal(in, out));
    std::string calls =
        line("KEY_INIT", at(key.data()), 1, 2, 3, true) + line("ECB_EN", -9, to_hex(pattern(16)), true, true);
    char p[8];
    for (const auto& [run, primitive] : {std::pair{&SM1_KEY_EXTEND, "KEY_EXTEND"},
                                         {&SM1_X_ECB_EN_MODE, "X_ECB_EN_MODE"},
                                         {&SM1_X_ECB_DE_MODE, "X_ECB_DE_MODE"}}) {
        run(p, p + 1, p + 2, p + 3, p + 4, p + 5, p + 6, p + 7);
        calls += line(primitive, at(p), at(p + 1), at(p + 2), at(p + 3), at(p + 4), at(p + 5), at(p + 6), at(p + 7));
    }
    EXPECT_EQ(trace.calls, calls);
}

}  // namespace
