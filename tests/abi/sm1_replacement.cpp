// A program that supplies its own SM1 primitives: the shared library must call them, with the arguments of the
// contract. It also stands between the library and the SM1_ entry points, to see through which of them the extended
// ones go.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "UlmaroAlgrithm.h"
#include "support/bytes.hpp"

using namespace ulmaro::test;

namespace {

// What the supplied primitives saw since the last reset, and how they are to answer.
struct Trace {
    std::vector<std::string> calls;
    std::vector<const void*> pointers;
    std::vector<int> numbers;
    std::vector<Bytes> blocks;
    bool schedules_were_zero = true;
    bool outputs_were_zero = true;
    bool schedules_arrived = true;
    int key_init_result = 1;
    unsigned int add = 0;
};
Trace trace;

constexpr unsigned int kEncMark = 0x11111111;
constexpr unsigned int kDecMark = 0x22222222;

bool all_equal(const unsigned int* words, std::size_t count, unsigned int value) {
    return std::all_of(words, words + count, [=](unsigned int w) { return w == value; });
}

void block(const char* name, const unsigned int* in, int size, const unsigned int* key, unsigned int mark,
           unsigned int* out) {
    trace.calls.emplace_back(name);
    trace.numbers.push_back(size);
    trace.blocks.push_back(be_bytes(std::span(in, 4)));
    trace.schedules_arrived &= all_equal(key, 72, mark);
    trace.outputs_were_zero &= all_equal(out, 4, 0);
    std::copy_n(in, 4, out);
    out[0] += trace.add;
}

void free_form(const char* name, std::vector<const void*> arguments) {
    trace.calls.emplace_back(name);
    trace.pointers = std::move(arguments);
}

// The library's own definition of a name that this program defines too.
template <class F>
F* original(F*, const char* name) {
    return reinterpret_cast<F*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {
int KEY_INIT(const unsigned char* key, int key_len, unsigned int* enc, int enc_size, unsigned int* dec, int dec_size) {
    trace.calls.emplace_back("KEY_INIT");
    trace.pointers = {key};
    trace.numbers = {key_len, enc_size, dec_size};
    trace.schedules_were_zero &= all_equal(enc, 72, 0) && all_equal(dec, 72, 0) && enc != dec;
    std::fill_n(enc, 72, kEncMark);
    std::fill_n(dec, 72, kDecMark);
    return trace.key_init_result;
}
void ECB_EN(const unsigned int* in, int size, const unsigned int* key, unsigned int* out) {
    block("ECB_EN", in, size, key, kEncMark, out);
}
void ECB_DE(const unsigned int* in, int size, const unsigned int* key, unsigned int* out) {
    block("ECB_DE", in, size, key, kDecMark, out);
}
void X_CBC_EN_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* enc, int len, int iv_len,
                   unsigned char* out) {
    trace.calls.emplace_back("X_CBC_EN_MODE");
    trace.pointers = {in, iv, out};
    trace.numbers = {len, iv_len};
    trace.schedules_arrived &= all_equal(enc, 72, kEncMark);
}
void X_CBC_DE_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* enc, const unsigned int* dec,
                   int len, int iv_len, unsigned char* out) {
    trace.calls.emplace_back("X_CBC_DE_MODE");
    trace.pointers = {in, iv, out};
    trace.numbers = {len, iv_len};
    trace.schedules_arrived &= all_equal(enc, 72, kEncMark) && all_equal(dec, 72, kDecMark);
}
void KEY_EXTEND(void* a, void* b, void* c, void* d, void* e, void* f, void* g, void* h) {
    free_form("KEY_EXTEND", {a, b, c, d, e, f, g, h});
}
void X_ECB_EN_MODE(void* a, void* b, void* c, void* d, void* e, void* f, void* g, void* h) {
    free_form("X_ECB_EN_MODE", {a, b, c, d, e, f, g, h});
}
void X_ECB_DE_MODE(void* a, void* b, void* c, void* d, void* e, void* f, void* g, void* h) {
    free_form("X_ECB_DE_MODE", {a, b, c, d, e, f, g, h});
}

int SM1_KEY_INIT(const unsigned char* key, int key_len, unsigned int* enc, int enc_size, unsigned int* dec,
                 int dec_size) {
    trace.calls.emplace_back("SM1_KEY_INIT");
    return original(SM1_KEY_INIT, "SM1_KEY_INIT")(key, key_len, enc, enc_size, dec, dec_size);
}
void SM1_ECB_EN(const unsigned int* in, int size, const unsigned int* key, unsigned int* out) {
    trace.calls.emplace_back("SM1_ECB_EN");
    original(SM1_ECB_EN, "SM1_ECB_EN")(in, size, key, out);
}
void SM1_ECB_DE(const unsigned int* in, int size, const unsigned int* key, unsigned int* out) {
    trace.calls.emplace_back("SM1_ECB_DE");
    original(SM1_ECB_DE, "SM1_ECB_DE")(in, size, key, out);
}
void SM1_X_CBC_EN_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* enc, int len, int iv_len,
                       unsigned char* out) {
    trace.calls.emplace_back("SM1_X_CBC_EN_MODE");
    original(SM1_X_CBC_EN_MODE, "SM1_X_CBC_EN_MODE")(in, iv, enc, len, iv_len, out);
}
void SM1_X_CBC_DE_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* enc,
                       const unsigned int* dec, int len, int iv_len, unsigned char* out) {
    trace.calls.emplace_back("SM1_X_CBC_DE_MODE");
    original(SM1_X_CBC_DE_MODE, "SM1_X_CBC_DE_MODE")(in, iv, enc, dec, len, iv_len, out);
}
}

namespace {

using Calls = std::vector<std::string>;
using Numbers = std::vector<int>;
using Pointers = std::vector<const void*>;

struct EcbEntry {
    decltype(&SM1_X_ECB_EN_MODE_EX) run;
    const char* forwarder;
    const char* primitive;
};
const EcbEntry kEcb[] = {{SM1_X_ECB_EN_MODE_EX, "SM1_ECB_EN", "ECB_EN"},
                         {SM1_X_ECB_DE_MODE_EX, "SM1_ECB_DE", "ECB_DE"}};

class Sm1Replacement : public testing::Test {
protected:
    void SetUp() override { trace = Trace{}; }
    const Bytes key = pattern(16);
};

TEST_F(Sm1Replacement, EcbDrivesTheBlockPrimitive) {
    for (const EcbEntry& entry : kEcb) {
        for (const int length : {INT_MIN, -1, 0, 1, 16, 17, 33, 64}) {
            trace = Trace{};
            const std::size_t blocks = length > 0 ? (static_cast<std::size_t>(length) + 15) / 16 : 0;
            const Bytes in = pattern(16 * blocks);
            Bytes out(16 * blocks + 16, 0xee);
            EXPECT_EQ(entry.run(key.data(), -5, nullptr, in.data(), length, out.data()), 1);

            Calls calls = {"KEY_INIT"};
            Numbers numbers = {-5, 288, 288};
            Bytes seen;
            for (std::size_t i = 0; i < blocks; ++i) {
                calls.insert(calls.end(), {entry.forwarder, entry.primitive});
                numbers.push_back(8);
            }
            for (const Bytes& b : trace.blocks) seen.insert(seen.end(), b.begin(), b.end());
            EXPECT_EQ(trace.calls, calls) << length;
            EXPECT_EQ(trace.numbers, numbers) << length;
            EXPECT_EQ(trace.pointers, Pointers{key.data()});
            EXPECT_EQ(seen, in) << "blocks in order, words big-endian";
            EXPECT_TRUE(trace.schedules_were_zero && trace.schedules_arrived && trace.outputs_were_zero) << length;
            Bytes expected = in;
            expected.resize(out.size(), 0xee);
            EXPECT_EQ(out, expected) << length;

            trace.add = 1;
            Bytes buffer = in;
            for (std::size_t i = 3; i < expected.size() - 16; i += 16) ++expected[i];
            expected.resize(in.size());
            entry.run(key.data(), 16, nullptr, buffer.data(), length, buffer.data());
            EXPECT_EQ(buffer, expected) << "in place, " << length;
        }
    }
}

TEST_F(Sm1Replacement, CbcHandsItsArgumentsOver) {
    const Bytes in = pattern(40);
    const Bytes iv = pattern(16);
    Bytes out(40);
    for (const int length : {INT_MIN, -1, 0, 17, 40}) {
        trace = Trace{};
        EXPECT_EQ(SM1_X_CBC_EN_MODE_EX(key.data(), 16, iv.data(), 77, in.data(), length, out.data()), 1);
        EXPECT_EQ(trace.calls, (Calls{"KEY_INIT", "SM1_X_CBC_EN_MODE", "X_CBC_EN_MODE"}));
        EXPECT_EQ(trace.pointers, (Pointers{in.data(), iv.data(), out.data()}));
        EXPECT_EQ(trace.numbers, (Numbers{length, 77}));
        EXPECT_TRUE(trace.schedules_were_zero && trace.schedules_arrived);

        trace = Trace{};
        EXPECT_EQ(SM1_X_CBC_DE_MODE_EX(key.data(), 16, iv.data(), 77, in.data(), length, out.data()), 1);
        EXPECT_EQ(trace.calls, (Calls{"KEY_INIT", "SM1_X_CBC_DE_MODE", "X_CBC_DE_MODE"}));
        EXPECT_EQ(trace.pointers, (Pointers{in.data(), iv.data(), out.data()}));
        EXPECT_EQ(trace.numbers, (Numbers{length, 77}));
        EXPECT_TRUE(trace.schedules_were_zero && trace.schedules_arrived);
    }
    EXPECT_EQ(out, Bytes(40));
}

TEST_F(Sm1Replacement, RefusedKeyStopsEverything) {
    Bytes buffer = pattern(32);
    for (const int result : {0, -1, 2, 257, INT_MIN}) {
        for (int entry = 0; entry < 4; ++entry) {
            trace = Trace{};
            trace.key_init_result = result;
            unsigned char* b = buffer.data();
            EXPECT_EQ(entry < 2 ? kEcb[entry].run(b, 16, b, b, 32, b)
                                : (entry == 2 ? SM1_X_CBC_EN_MODE_EX : SM1_X_CBC_DE_MODE_EX)(b, 16, b, 16, b, 32, b),
                      -1);
            EXPECT_EQ(trace.calls, Calls{"KEY_INIT"});
            EXPECT_EQ(buffer, pattern(32));
        }
    }
}

TEST_F(Sm1Replacement, ForwardersPassArgumentsAndResultsThrough) {
    unsigned int enc[72] = {};
    unsigned int dec[72] = {};
    trace.key_init_result = -123456;
    EXPECT_EQ(original(SM1_KEY_INIT, "SM1_KEY_INIT")(key.data(), 1, enc, 2, dec, 3), -123456);
    EXPECT_EQ(trace.calls, Calls{"KEY_INIT"});
    EXPECT_EQ(trace.numbers, (Numbers{1, 2, 3}));
    EXPECT_TRUE(all_equal(enc, 72, kEncMark) && all_equal(dec, 72, kDecMark));

    const std::vector<unsigned int> in = be_words(pattern(16));
    unsigned int out[4] = {};
    original(SM1_ECB_EN, "SM1_ECB_EN")(in.data(), -9, enc, out);
    EXPECT_EQ(trace.calls.back(), "ECB_EN");
    EXPECT_EQ(trace.numbers.back(), -9);
    EXPECT_TRUE(std::equal(in.begin(), in.end(), out) && trace.schedules_arrived);

    Bytes places(8);
    void* p[8];
    for (std::size_t i = 0; i < 8; ++i) p[i] = &places[i];
    const struct {
        decltype(&SM1_KEY_EXTEND) run;
        const char* primitive;
    } cases[] = {
        {SM1_KEY_EXTEND, "KEY_EXTEND"}, {SM1_X_ECB_EN_MODE, "X_ECB_EN_MODE"}, {SM1_X_ECB_DE_MODE, "X_ECB_DE_MODE"}};
    for (const auto& c : cases) {
        c.run(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7]);
        EXPECT_EQ(trace.calls.back(), c.primitive);
        EXPECT_EQ(trace.pointers, Pointers(p, p + 8));
    }
}

}  // namespace
