// The exported routines on word-array numbers against GMP. Every buffer is exactly as long as the routine may write.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include "UlmaroAlgrithmInternals.hpp"
#include "fuzz/fuzz.hpp"
#include "support/guarded.hpp"
#include "support/integers.hpp"

namespace ulmaro::fuzz {
namespace {

using Words = std::vector<unsigned int>;
using Operands = std::vector<Words*>;

/// In words that a routine must not read or write.
constexpr unsigned int stale_word = 0xDEADBEEF, ones = 0xFFFFFFFF;

/// The given words with stale words above them, `size` in all.
Words buffer(Words words = {}, std::size_t size = 10) {
    words.resize(std::max(size, words.size()), stale_word);
    return words;
}

/// The least room for a number of this many words: a number buffer, a product buffer, or just its words.
std::size_t room(int words) { return words <= 10 ? 10U : words <= 18 ? 18U : static_cast<std::size_t>(words); }

int count(const Words& words) { return static_cast<int>(words.size()); }

/// Words, many of them all ones, zero or a single bit: where carries, borrows and quotient estimates go wrong.
Words take_words(Data& data, int size) {
    Words words(static_cast<std::size_t>(size));
    for (unsigned int& w : words) {
        const auto shape = data.any<std::uint8_t>();
        const unsigned int bit = 1U << (shape & 31), low = shape & 31;
        const unsigned int shapes[] = {0, ones, bit, ones - bit, low, ones << low};
        w = shape < 192 ? shapes[shape >> 5] : data.any<std::uint32_t>();
    }
    return words;
}

/// The same, normalised: the top word is not zero.
Words take_normal(Data& data, int least, int most) {
    Words words = take_words(data, data.between(least, most));
    if (!words.empty() && words.back() == 0) words.back() = 1;
    return words;
}

Integer value(std::span<const unsigned int> words) { return test::value(words); }

Words words_for(const Integer& a, int size) {
    Words words(static_cast<std::size_t>(size));
    if (size > 0) mpz_export(words.data(), nullptr, -1, sizeof(unsigned int), 0, 0, a.get_mpz_t());
    return words;
}

int size_of(const Integer& a) { return a == 0 ? 0 : static_cast<int>((mpz_sizeinbase(a.get_mpz_t(), 2) + 31) / 32); }

/// A result over an operand or apart, with stale words that show which were written.
struct Result {
    Words apart, *words, before;

    Result(Data& data, const Operands& operands, int room) : apart(buffer({}, 0)), words(&apart) {
        const auto choice = data.up_to(operands.size());
        if (choice < operands.size()) words = operands[choice];
        *words = buffer(std::move(*words), static_cast<std::size_t>(room) + 2);
        before = *words;
    }

    unsigned int* data() const { return words->data(); }

    /// The number fills exactly `written` words. top is its normalised length, if there is one.
    void expect(const Integer& number, int written, const char* what, std::optional<int> top = {}) {
        expect(words_for(number, written), what);
        require(top.value_or(size_of(number)) == size_of(number), what);
    }
    void expect(const Words& written, const char* what) {
        std::ranges::copy(written, before.begin());
        require(*words == before, what);
    }
};

void check_fixed_length(Data& data) {
    const int num = data.between(-1, 16), count = std::max(num, 0);
    Words a = take_words(data, count), b = take_words(data, count);
    const unsigned int w = take_words(data, 1)[0];
    const Integer x = value(a), y = value(b), base = power_of_two(32 * static_cast<unsigned>(count));
    const auto routine = data.up_to(3);
    Result r(data, routine < 2 ? Operands{&a, &b} : routine == 2 ? Operands{&a} : Operands{}, count);
    if (routine == 3) std::ranges::copy(b, r.words->begin());
    const unsigned int above = routine == 0   ? bn_add_words(r.data(), a.data(), b.data(), num)
                               : routine == 1 ? bn_sub_words(r.data(), a.data(), b.data(), num)
                               : routine == 2 ? bn_mul_words(r.data(), a.data(), num, w)
                                              : bn_mul_add_words(r.data(), a.data(), num, w);
    const Integer results[] = {x + y, x - y, x * w, x * w + y};
    Integer expected = results[routine];
    if (expected < 0) expected += 2 * base;  // the borrow is the bit above
    r.expect(expected - above * base, count, "words of a fixed count");
}

void check_sums(Data& data) {
    Words a = take_normal(data, 0, 12), b = take_normal(data, 0, 12);
    const bool adds = data.flip();
    if (!adds && value(a) < value(b)) std::swap(a, b);
    const int a_top = count(a), b_top = count(b);
    const Integer expected = adds ? Integer(value(a) + value(b)) : Integer(value(a) - value(b));
    Result r(data, {&a, &b}, std::max(a_top, b_top) + 1);
    int top = -1;
    require((adds ? BN_uadd : BN_usub)(r.data(), &top, a.data(), a_top, b.data(), b_top) == 1, "a sum returns");
    r.expect(expected, adds ? std::max({a_top, b_top, size_of(expected)}) : a_top, "BN_uadd and BN_usub", top);
}

void check_products(Data& data) {
    Words a = take_words(data, data.between(0, 12)), b = take_words(data, data.between(0, 12));
    const int written = a.empty() || b.empty() ? 0 : count(a) + count(b);
    const Integer expected = value(a) * value(b);
    int top = -1;
    Result r(data, {}, written), plain(data, {}, written);
    BN_mul(r.data(), &top, a.data(), count(a), b.data(), count(b));
    r.expect(expected, written, "BN_mul", top);
    BN_mul_nomal(plain.data(), a.data(), count(a), b.data(), count(b));
    plain.expect(expected, written, "BN_mul_nomal");
}

void check_shifts(Data& data) {
    const Words original = take_normal(data, 0, 20);
    const int a_top = count(original), n = data.between(-40, 400), up = std::max(n, 0);
    const Integer x = value(original);
    int top = -1;
    Words a = original;
    Result left(data, {&a}, a_top + up / 32 + 1);
    require(BN_lshift(left.data(), &top, a.data(), a_top, n) == 1, "BN_lshift returns");
    left.expect(x << static_cast<unsigned>(up), a_top + up / 32 + 1, "BN_lshift", top);
    // A shift by whole words brings along the word above the number, then a zero word; any other only the zero.
    a = buffer(original, room(a_top));
    const int kept = std::max(a_top - up / 32, 0);
    const bool beyond = up / 32 > a_top || a_top == 0;
    Words expected = words_for(x >> static_cast<unsigned>(up), kept);
    if (up % 32 == 0 && !beyond) expected.push_back(room(a_top) > original.size() ? stale_word : 0);
    expected.push_back(0);
    if (beyond) expected.resize(10);
    expected.resize(std::min(expected.size(), room(kept)));
    Result right(data, {&a}, count(a));
    require(BN_rshift(right.data(), &top, a.data(), a_top, n) == (beyond ? 0 : 1), "BN_rshift returns");
    right.expect(expected, "BN_rshift");
    require(top == size_of(x >> static_cast<unsigned>(up)), "the length of BN_rshift");
    if (a_top > 10) return;
    bignum_st half, whole;
    std::ranges::copy(buffer(original), whole.words);
    half = whole;
    bignum_st& to = data.flip() ? whole : half;
    BN_rshift1(&to, &top, &whole, a_top);
    expected = buffer(words_for(x / 2, a_top == 0 ? 10 : a_top));
    require(std::ranges::equal(to.words, expected) && top == size_of(x / 2), "BN_rshift1");
}

void check_questions(Data& data) {
    Words a = take_words(data, data.between(0, 10));
    Words b = data.flip() ? a : take_words(data, count(a));
    const Integer x = value(a), y = value(b);
    const int n = count(a);
    const auto size = static_cast<unsigned int>(n);
    const int order = x < y ? -1 : x > y ? 1 : 0;
    const int shorter = data.between(0, n);  // counts are compared before words
    require(BN_ucmp(a.data(), n, b.data(), shorter) == (shorter < n ? n - shorter : order), "BN_ucmp");
    require(BN_is_zero(a.data(), size) == (x == 0 ? 1 : 0), "BN_is_zero");
    if (n > 0) require(BN_is_one(a.data(), size) == (x == 1 ? 1 : 0), "BN_is_one");
    require(two_number_same(a.data(), n, b.data()) == (order != 0 ? 1 : 0), "two_number_same");
    require(two_number_same(a.data(), -1, b.data()) == 0, "no words are the same");
    const int bits = x == 0 ? 0 : static_cast<int>(mpz_sizeinbase(x.get_mpz_t(), 2));
    require(BN_num_bits(a.data(), n) == bits && BN_num_bits(a.data(), -1) == 0, "BN_num_bits");
    int top = n;
    bn_fix_top(a.data(), &top);
    require(top == size_of(x), "bn_fix_top");
    const unsigned int last = top == 0 ? 0 : a[static_cast<std::size_t>(top) - 1];
    require(BN_num_bits_word(last) == bits - 32 * std::max(top - 1, 0), "BN_num_bits_word");
    const unsigned int d = take_words(data, 1)[0], low = take_words(data, 1)[0];
    const unsigned int high = d == 0 ? low : take_words(data, 1)[0] % d;
    const std::uint64_t dividend = std::uint64_t{high} << 32 | low;
    require(bn_div_words(high, low, d) == (d == 0 ? ones : static_cast<unsigned int>(dividend / d)), "bn_div_words");
}

void check_quotient(Words num, Words d, bool swapped) {
    const Integer x = value(num), y = value(d), q = x / y, r = x % y;
    const std::size_t room = std::max({num.size(), d.size(), std::size_t{18}});
    const int n = count(num), k = count(d), r_top = BN_ucmp(num.data(), n, d.data(), k) < 0 ? n : size_of(r);
    Words n2 = buffer(num, room), d2 = buffer(d, room), rm = buffer({}, room);
    Words dv = buffer({}, static_cast<std::size_t>(size_of(q)) + 1);
    const auto divide = [&](Words& to_q, Words& to_r, Words& by_num, Words& by_d) {
        int q_count = -1, r_count = -1;
        BN_div(to_q.data(), &q_count, to_r.data(), &r_count, by_num.data(), n, by_d.data(), k);
        require(q_count == size_of(q) && value(std::span(to_q.begin(), to_q.begin() + q_count)) == q, "a quotient");
        require(r_count == r_top && value(std::span(to_r.begin(), to_r.begin() + r_top)) == r, "a remainder");
    };
    divide(dv, rm, num, d);
    require(dv.back() == stale_word && buffer(num, room) == n2 && buffer(d, room) == d2, "all other words stay");
    divide(swapped ? d2 : n2, swapped ? n2 : d2, n2, d2);
}

void check_division(Data& data) {
    const bool large = data.flip();
    const Words d = take_normal(data, 1, large ? 64 : 9);
    const auto kind = data.up_to(2);
    if (kind == 0) return check_quotient(take_normal(data, 0, large ? 129 : 18), d, data.flip());
    if (kind == 1) return check_quotient(take_words(data, count(d)), d, data.flip());
    // Near a multiple of d, where the remainder is close to 0 or d.
    const Integer multiple = value(d) * value(take_normal(data, 1, large ? 64 : 8));
    const Integer near = multiple + data.between(-3, 3);
    check_quotient(near < 0 ? Words{} : words_for(near, size_of(near)), d, data.flip());
}

void check_inverse(Data& data) {
    const int most = data.one_of({3, 8, 20});
    Words n = take_normal(data, 0, most), a = take_normal(data, 0, most);
    const int n_top = count(n), a_top = count(a);
    const Integer modulus = value(n), expected = inverse(value(a), modulus);
    Result r(data, {&a, &n}, 20);
    int top = -1;
    BN_mod_inverse(r.data(), &top, a.data(), a_top, n.data(), n_top);
    // Without an inverse, eight words are cleared; modulo 1 the result is a one-word zero.
    r.expect(expected, expected != 0 || modulus == 1 ? n_top : 8, "BN_mod_inverse", top);
}

/// Often one of the extremes.
Words take_residue(Data& data, const Words& m) {
    const Integer modulus = value(m), any = mod(value(take_words(data, count(m))), modulus);
    const Integer residues[] = {0, modulus - 1, modulus / 2, any, any, any};
    return words_for(data.one_of(residues), count(m));
}

void check_residues(Data& data) {
    const int len = data.between(0, 9);
    Words m = take_words(data, len);
    if (value(m) == 0) m.assign(m.size(), 1);
    const Integer modulus = value(m), base = power_of_two(32 * static_cast<unsigned>(len));
    Words a = take_residue(data, m), b = data.rarely(8) ? a : take_residue(data, m);
    const auto routine = data.up_to(2);
    // Operands of a sum need not be reduced: the modulus is subtracted once. After a carry, the word above is written.
    if (routine == 0 && data.rarely(4)) a = take_words(data, len);
    const Integer x = value(a), y = value(b), sum = x + y;
    const Integer results[] = {sum < modulus ? sum : Integer(sum - modulus), mod(x - y, modulus), mod(2 * x, modulus)};
    Result r(data, routine < 2 ? Operands{&a, &b} : Operands{&a}, len);
    int top = -1;
    if (routine == 0) BN_mod_add(r.data(), a.data(), b.data(), m.data(), len);
    if (routine == 1) BN_mod_sub(r.data(), &top, a.data(), b.data(), m.data(), len);
    if (routine == 2) BN_mod_lshift1(r.data(), a.data(), m.data(), len);
    r.expect(results[routine], routine == 0 && sum >= base ? len + 1 : len, "BN_mod_add, BN_mod_sub, BN_mod_lshift1");
    require(routine != 1 || top == (x < y ? len : size_of(results[1])), "BN_mod_sub's length");
}

void check_montgomery(Data& data) {
    const int len = data.between(0, 8);
    Words m = take_words(data, len), rr = buffer();
    unsigned int nprime = 0;
    const bool odd = len > 0 && !data.rarely(16);
    if (len > 0) m[0] = odd ? m[0] | 1 : m[0] & ~1U;
    BN_MONT_CTX_set(m.data(), len, &nprime, rr.data());
    const Integer modulus = value(m), R = power_of_two(32 * static_cast<unsigned>(len)), per_R = inverse(R, modulus);
    if (!odd) {  // there are no constants
        require(nprime == 0 && rr == buffer(Words(m.size())), "BN_MONT_CTX_set of an even modulus");
        BN_mod_mul_montgomery_one(rr.data(), rr.data(), m.data(), 0, 1);
        BN_mod_mul_montgomery(rr.data(), rr.data(), rr.data(), m.data(), 0, 1);
        return require(rr == buffer(Words(m.size())), "a product of no words");
    }
    const Integer square = R * R % modulus;
    const std::size_t used = static_cast<std::size_t>(size_of(square)), next = std::min(used + 1, m.size());
    require(nprime * m[0] == ones && value(std::span(rr).first(next)) == square, "BN_MONT_CTX_set");
    require(std::ranges::count(rr, stale_word) >= 10 - len, "words above the constants stay");
    // Operands need not be reduced: a product of two is then right modulo m, and that with one is reduced as well.
    const bool reduced = data.flip();
    Words a = reduced ? take_residue(data, m) : take_words(data, len);
    Words b = reduced ? take_residue(data, m) : take_words(data, len), c = a;
    const Integer x = value(a), product = x * value(b) * per_R;
    Result r(data, {&a, &b}, len), one(data, {&c}, len);
    BN_mod_mul_montgomery(r.data(), a.data(), b.data(), m.data(), len, nprime);
    const Integer made = value(std::span(*r.words).first(m.size()));
    require(mod(made - product, modulus) == 0, "a Montgomery product");
    r.expect(reduced ? mod(product, modulus) : made, len, "BN_mod_mul_montgomery");
    BN_mod_mul_montgomery_one(one.data(), c.data(), m.data(), len, nprime);
    one.expect(mod(x * per_R, modulus), len, "BN_mod_mul_montgomery_one");
}

void check_digits(Data& data) {
    bignum_st scalar;
    std::ranges::copy(take_words(data, 10), scalar.words);
    const bignum_st before = scalar;
    const int width = data.between(-3, 10), length = data.between(-3, 13);
    const int w = std::clamp(width, 1, 7), len = std::clamp(length, 0, 10);
    int used = -1;
    const std::unique_ptr<signed char, decltype(&std::free)> digits(compute_wNAF(&scalar, width, length, &used),
                                                                    std::free);
    const Integer expected = value({scalar.words, static_cast<std::size_t>(len)});
    Integer sum;
    for (int i = used, next = used + w; i-- > 0;) {
        const int digit = digits.get()[i];
        sum = 2 * sum + digit;
        if (digit == 0) continue;
        require(digit % 2 != 0 && std::abs(digit) < 1 << w && (next == used + w || next - i > w), "a digit");
        next = i;
    }
    require(sum == expected, "the digits make the scalar");
    require(used <= BN_num_bits(scalar.words, len) + 1 && (used == 0 || digits.get()[used - 1] != 0),
            "the number of digits");
    require(std::memcmp(&scalar, &before, sizeof scalar) == 0, "the scalar stays");
}

/// Exactly the words that are written: the zero words above a remainder too.
void check_words_of_divisions() {
    const Words recommended_order{0x39D54123, 0x53BBF409, 0x21C6052B, 0x7203DF6B, ones, ones, ones, 0xFFFFFFFE};
    const struct {
        Words num, d, q;
        int q_top;
        Words r;
        int r_top;
    } cases[] = {
#include "vectors/division.inc"
    };
    for (const auto& c : cases) {
        Words num = buffer(c.num), d = buffer(c.d), q = buffer(), r = buffer({}, 18), alone = r;
        const int n = count(c.num), k = count(c.d);
        int q_top = -1, r_top = -1;
        BN_div(q.data(), &q_top, r.data(), &r_top, num.data(), n, d.data(), k);
        require(q == buffer(c.q) && q_top == c.q_top, "words of a quotient");
        require(r == buffer(c.r, 18) && r_top == c.r_top, "words of a remainder");
        BN_div(nullptr, nullptr, alone.data(), &r_top, num.data(), n, d.data(), k);
        require(alone == r, "a remainder alone");
        q = num;
        std::ranges::copy(c.q, q.begin());
        BN_div(num.data(), &q_top, nullptr, nullptr, num.data(), n, d.data(), k);
        require(num == q, "a quotient alone, over its numerator");
    }
    // The remainder and one zero word are stored, so words above a short one stay.
    unsigned int nprime;
    Words rr = buffer();
    BN_MONT_CTX_set(Words{1, 1, 0, 0}.data(), 4, &nprime, rr.data());
    require(nprime == ones && rr == buffer({1, 0}), "words of Montgomery constants");
    // A smaller minuend wraps at its own length, and an overflowing quotient word is whatever the steps make it.
    int top = 0;
    Words r = buffer();
    BN_usub(r.data(), &top, Words{1}.data(), 1, Words{2}.data(), 1);
    require(r == buffer({ones}) && top == 1, "a smaller minuend");
    require(bn_div_words(ones, 9, 0x80000001) == 0xFFFFFFFA, "an overflowing quotient");
}

void check_bytes() {
    constexpr struct {
        const char* in;
        int mode;
        const char* out;
    } cases[] = {
#include "vectors/exchange.inc"
    };
    using Buffer = Guarded<unsigned char>;
    for (const auto& c : cases) {
        Bytes in = from_hex(c.in), reversed(in.rbegin(), in.rend());
        Buffer units(in), all(in), copy(in.size());
        Exchange_DWORD(units.data(), static_cast<unsigned int>(in.size()), c.mode);
        require(to_hex(units.span()) == c.out && units.intact(), "Exchange_DWORD");
        Exchange(all.data(), static_cast<unsigned int>(in.size()));
        for (const int count : {length(in), -1}) {
            require(sm2_copy(copy.data(), in.data(), count) == copy.data(), "what sm2_copy returns");
        }
        require(equal(all.span(), reversed) && equal(copy.span(), reversed), "Exchange and sm2_copy");
        require(all.intact() && copy.intact(), "Exchange and sm2_copy stay inside");
    }
}

}  // namespace

void run(Data& data) {
    constexpr void (*checks[])(Data&) = {check_fixed_length, check_sums,     check_products, check_shifts,
                                         check_questions,    check_division, check_inverse,  check_residues,
                                         check_montgomery,   check_digits};
    data.one_of(checks)(data);
}

/// num = d q + r at every shift: digits estimated as 2^32, or one too large, that have to be corrected.
void run_edges() {
    for (unsigned shift = 0; shift < 32; ++shift) {
        const unsigned int top = 0x80000000U >> shift;
        for (const Words& d :
             {Words{ones, ones, top}, {1, 0, top}, {ones, 0, top}, {0, 0, top}, {3, 0, 0, top}, {top}, {1, top}}) {
            for (const Words& q : {Words{ones}, {ones, ones}, {ones - 1, ones, 1}, {0, ones}, {ones, 0, 0, 1}, {1}}) {
                const Integer exact = value(d) * value(q);
                for (const Integer& num : {exact, Integer(exact + value(d) - 1), Integer(exact - 1)}) {
                    check_quotient(words_for(num, size_of(num)), d, shift % 2 == 0);
                }
            }
        }
    }
    check_words_of_divisions();
    check_bytes();
    check_quotient(Words(129, ones), Words(64, ones), false);
    check_quotient({3, 0, 0x80000000}, {1, 0, 0x20000000}, false);
    check_quotient({0, 0, 0x80000000, 0x7FFFFFFF}, {1, 0, 0x80000000}, false);
    check_quotient({0, ones - 1, 0x80000000}, {ones, 0x80000000}, true);
}

}  // namespace ulmaro::fuzz
