// The exported routines on word-array numbers against GMP. Every buffer is as long as the routine may write.
#include "support/numbers.hpp"

#include <array>
#include <cstdlib>
#include <memory>

#include "UlmaroAlgrithmInternals.hpp"
#include "fuzz/fuzz.hpp"
#include "support/integers.hpp"

namespace ulmaro::fuzz {
namespace {

using test::count;
using test::Integer;
using test::inverse;
using test::mod;
using test::power_of_two;
using test::Words;

constexpr unsigned int kMax = test::kMax;

/// Words of which many are all ones, zero or one bit: where carries, borrows and quotient estimates go wrong.
Words take_words(Data& data, int size) {
    Words words(static_cast<std::size_t>(size));
    for (unsigned int& w : words) {
        const auto shape = data.any<std::uint8_t>();
        switch (shape >> 5) {
            case 0:
                w = 0;
                break;
            case 1:
                w = kMax;
                break;
            case 2:
                w = 1U << (shape & 31);
                break;
            case 3:
                w = kMax - (1U << (shape & 31));
                break;
            case 4:
                w = shape & 31;
                break;
            case 5:
                w = kMax << (shape & 31);
                break;
            default:
                w = data.any<std::uint32_t>();
        }
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
    mpz_export(words.data(), nullptr, -1, sizeof(unsigned int), 0, 0, a.get_mpz_t());
    return words;
}

int size_of(const Integer& a) { return a == 0 ? 0 : static_cast<int>((mpz_sizeinbase(a.get_mpz_t(), 2) + 31) / 32); }

/// top words of r are the number, without leading zeros.
void require_normal(const Words& r, int top, const Integer& expected, const char* what) {
    require(top == size_of(expected) && value(std::span(r).first(static_cast<std::size_t>(top))) == expected, what);
}

/// A result that may lie over an operand, with room for so many words.
struct Result {
    Words apart;
    Words* words;

    Result(Data& data, std::initializer_list<Words*> operands, int room) {
        apart = test::buffer({}, static_cast<std::size_t>(room));
        words = &apart;
        const auto choice = data.up_to(operands.size());
        if (choice == operands.size()) return;
        words = operands.begin()[choice];
        if (words->size() < apart.size()) *words = test::buffer(std::move(*words), apart.size());
    }

    unsigned int* data() const { return words->data(); }
};

void check_fixed_length(Data& data) {
    const int num = data.between(0, 16);
    Words a = take_words(data, num), b = take_words(data, num);
    const unsigned int w = take_words(data, 1)[0];
    const Integer x = value(a), y = value(b), base = power_of_two(32 * static_cast<unsigned>(num));
    Integer expected;
    unsigned int above = 0;
    const int routine = data.between(0, 3);
    Words accumulator = b;
    const Result r(data, {&a, &b}, num);
    switch (routine) {
        case 0:
            above = bn_add_words(r.data(), a.data(), b.data(), num);
            expected = x + y;
            break;
        case 1:
            above = bn_sub_words(r.data(), a.data(), b.data(), num);
            expected = x - y;
            if (expected < 0) expected += 2 * base;  // the borrow is the bit above
            break;
        case 2:
            above = bn_mul_words(accumulator.data(), a.data(), num, w);
            expected = x * w;
            break;
        default:
            above = bn_mul_add_words(accumulator.data(), a.data(), num, w);
            expected = y + x * w;
    }
    const unsigned int* const out = routine < 2 ? r.data() : accumulator.data();
    require(value({out, static_cast<std::size_t>(num)}) + above * base == expected, "words of a fixed count");
}

void check_sums(Data& data) {
    Words a = take_normal(data, 0, 12), b = take_normal(data, 0, 12);
    int a_top = count(a), b_top = count(b), top = -1;
    const Integer x = value(a), y = value(b);
    if (data.flip()) {
        const Result r(data, {&a, &b}, size_of(x + y));
        require(BN_uadd(r.data(), &top, a.data(), a_top, b.data(), b_top) == 1, "BN_uadd returns");
        require_normal(*r.words, top, x + y, "BN_uadd");
    } else {
        if (x < y) std::swap(a, b), std::swap(a_top, b_top);
        const Result r(data, {&a, &b}, a_top);
        require(BN_usub(r.data(), &top, a.data(), a_top, b.data(), b_top) == 1, "BN_usub returns");
        require_normal(*r.words, top, abs(x - y), "BN_usub");
    }
}

void check_products(Data& data) {
    Words a = take_normal(data, 0, 12), b = take_normal(data, 0, 12);
    Words r = test::buffer({}, a.size() + b.size());
    int top = -1;
    const Integer expected = value(a) * value(b);
    BN_mul(r.data(), &top, a.data(), count(a), b.data(), count(b));
    require_normal(r, top, expected, "BN_mul");
    if (a.empty() || b.empty()) return;
    r = test::buffer({}, a.size() + b.size());
    BN_mul_nomal(r.data(), a.data(), count(a), b.data(), count(b));
    require(value(r) == expected, "BN_mul_nomal");
}

void check_shifts(Data& data) {
    Words a = take_normal(data, 0, 10);
    const Words original = a;
    const int a_top = count(a), n = data.between(0, 400);
    const Integer x = value(a);
    int top = -1;
    {
        const Result r(data, {&a}, a_top + n / 32 + 1);
        require(BN_lshift(r.data(), &top, a.data(), a_top, n) == 1, "BN_lshift returns");
        require_normal(*r.words, top, x << static_cast<unsigned>(n), "BN_lshift");
    }
    a = test::buffer(original);
    {
        const Result r(data, {&a}, 10);
        require(BN_rshift(r.data(), &top, a.data(), a_top, n) == (n / 32 > a_top || a_top == 0 ? 0 : 1),
                "BN_rshift returns");
        require_normal(*r.words, top, x >> static_cast<unsigned>(n), "BN_rshift");
    }
    bignum_st half, whole;
    std::ranges::copy(test::buffer(original), whole.words);
    half = whole;
    bignum_st* const to = data.flip() ? &whole : &half;
    BN_rshift1(to, &top, &whole, a_top);
    require_normal(Words(to->words, to->words + 10), top, x / 2, "BN_rshift1");
}

void check_questions(Data& data) {
    Words a = take_words(data, data.between(0, 10));
    Words b = data.flip() ? a : take_words(data, count(a));
    const Integer x = value(a), y = value(b);
    const int n = count(a);
    const auto size = static_cast<unsigned int>(n);
    const int order = x < y ? -1 : x > y ? 1 : 0;
    require(BN_ucmp(a.data(), n, b.data(), n) == order, "BN_ucmp");
    require(BN_is_zero(a.data(), size) == (x == 0 ? 1 : 0), "BN_is_zero");
    if (n > 0) require(BN_is_one(a.data(), size) == (x == 1 ? 1 : 0), "BN_is_one");
    require(two_number_same(a.data(), n, b.data()) == (order != 0 ? 1 : 0), "two_number_same");
    const int bits = x == 0 ? 0 : static_cast<int>(mpz_sizeinbase(x.get_mpz_t(), 2));
    require(BN_num_bits(a.data(), n) == bits, "BN_num_bits");
    int top = n;
    bn_fix_top(a.data(), &top);
    require(top == size_of(x), "bn_fix_top");
    if (top > 0) {
        require(BN_num_bits_word(a[static_cast<std::size_t>(top) - 1]) == bits - 32 * (top - 1), "BN_num_bits_word");
    }
    const unsigned int d = take_words(data, 1)[0], low = take_words(data, 1)[0];
    const unsigned int high = d == 0 ? low : take_words(data, 1)[0] % d;
    const std::uint64_t dividend = std::uint64_t{high} << 32 | low;
    require(bn_div_words(high, low, d) == (d == 0 ? kMax : static_cast<unsigned int>(dividend / d)), "bn_div_words");
}

void check_division(Data& data) {
    const bool large = data.flip();
    Words d = take_normal(data, 1, large ? 64 : 9), num;
    if (data.flip()) {
        num = take_normal(data, 0, large ? 129 : 18);
    } else if (data.flip()) {
        num = take_words(data, count(d));
    } else {  // around a multiple of d, where the remainder is nearly 0 or nearly d
        const Integer multiple = value(d) * value(take_normal(data, 1, large ? 64 : 8));
        const Integer near = multiple + data.between(-3, 3);
        num = near < 0 ? Words{} : words_for(near, size_of(near));
    }
    const Integer x = value(num), y = value(d), q = x / y, r = x % y;
    Words dv = test::buffer({}, static_cast<std::size_t>(size_of(q)));
    Words rm = test::buffer({}, test::room(count(d)));
    const bool is_smaller = BN_ucmp(num.data(), count(num), d.data(), count(d)) < 0;
    int dv_top = -1, rm_top = -1;
    const Words num_before = num, d_before = d;
    BN_div(dv.data(), &dv_top, rm.data(), &rm_top, num.data(), count(num), d.data(), count(d));
    require(num == num_before && d == d_before, "operands stay");
    require_normal(dv, dv_top, q, "quotient");
    const auto used = static_cast<std::size_t>(rm_top);
    require(value(std::span(rm).first(used)) == r, "remainder");
    require(is_smaller ? rm_top == count(num) : rm_top == size_of(r), "length of the remainder");
    if (used < d.size() && used < 10) require(rm[used] == 0, "a zero word follows the remainder");

    // Over the operands, and one result alone.
    const std::size_t room = std::max({num.size(), d.size(), test::room(count(d))});
    Words n2 = test::buffer(num, room), d2 = test::buffer(d, room);
    const bool swapped = data.flip();
    BN_div((swapped ? d2 : n2).data(), &dv_top, (swapped ? n2 : d2).data(), &rm_top, n2.data(), count(num), d2.data(),
           count(d));
    require_normal(swapped ? d2 : n2, dv_top, q, "quotient over an operand");
    require(value(std::span(swapped ? n2 : d2).first(used)) == r, "remainder over an operand");
    BN_div(nullptr, nullptr, rm.data(), &rm_top, num.data(), count(num), d.data(), count(d));
    require(value(std::span(rm).first(used)) == r, "remainder alone");
}

void check_inverse(Data& data) {
    Words n = take_normal(data, 0, 8), a = take_normal(data, 0, 8);
    const int n_top = count(n), a_top = count(a);
    const Integer m = value(n), x = value(a), expected = m == 0 ? Integer(0) : inverse(x, m);
    const Result r(data, {&a, &n}, 8);
    int top = -1;
    BN_mod_inverse(r.data(), &top, a.data(), a_top, n.data(), n_top);
    require_normal(*r.words, top, expected, "BN_mod_inverse");
}

void check_residues(Data& data) {
    const int len = data.between(1, 9);
    Words m = take_words(data, len);
    if (value(m) == 0) m[0] = 1;
    const Integer modulus = value(m);
    const auto operand = [&] { return words_for(value(take_words(data, len)) % modulus, len); };
    Words a = operand(), b = data.between(0, 7) == 0 ? a : operand();
    const Integer x = value(a), y = value(b);
    int top = -1;
    switch (data.between(0, 2)) {
        case 0: {
            const Result r(data, {&a, &b}, len + 1);
            BN_mod_add(r.data(), a.data(), b.data(), m.data(), len);
            require(value(std::span(*r.words).first(static_cast<std::size_t>(len))) == mod(x + y, modulus),
                    "BN_mod_add");
            break;
        }
        case 1: {
            const Result r(data, {&a, &b}, len);
            const Integer expected = mod(x - y, modulus);
            BN_mod_sub(r.data(), &top, a.data(), b.data(), m.data(), len);
            require(value(*r.words) == expected, "BN_mod_sub");
            require(top == (x < y ? len : size_of(expected)), "BN_mod_sub's length");
            break;
        }
        default: {
            const Result r(data, {&a}, len);
            BN_mod_lshift1(r.data(), a.data(), m.data(), len);
            require(value(*r.words) == mod(2 * x, modulus), "BN_mod_lshift1");
        }
    }
}

void check_montgomery(Data& data) {
    const int len = data.between(1, 8);
    Words m = take_words(data, len), rr(m.size(), 0);
    unsigned int nprime = 0;
    const bool even = data.between(0, 15) == 0;
    m[0] = even ? m[0] & ~1U : m[0] | 1;
    BN_MONT_CTX_set(m.data(), len, &nprime, rr.data());
    const Integer modulus = value(m), R = power_of_two(32 * static_cast<unsigned>(len));
    if (even) {
        require(nprime == 0 && value(rr) == 0, "an even modulus has no constants");
        return;
    }
    require(nprime * m[0] == kMax && value(rr) == R * R % modulus, "BN_MONT_CTX_set");
    const Words any_a = take_words(data, len), any_b = take_words(data, len);
    Words a = words_for(value(any_a) % modulus, len), b = words_for(value(any_b) % modulus, len);
    const Integer x = value(a), y = value(b);
    {
        const Result r(data, {&a, &b}, len);
        BN_mod_mul_montgomery(r.data(), a.data(), b.data(), m.data(), len, nprime);
        require(value(*r.words) < modulus && mod(value(*r.words) * R - x * y, modulus) == 0, "BN_mod_mul_montgomery");
    }
    a = any_a;  // need not be reduced
    const Result r(data, {&a}, len);
    BN_mod_mul_montgomery_one(r.data(), a.data(), m.data(), len, nprime);
    require(value(*r.words) < modulus && mod(value(*r.words) * R - value(any_a), modulus) == 0,
            "BN_mod_mul_montgomery_one");
}

void check_digits(Data& data) {
    bignum_st scalar;
    std::ranges::copy(take_words(data, 10), scalar.words);
    const int w = data.between(1, 7), len = data.between(0, 10);
    int used = -1;
    const std::unique_ptr<signed char, decltype(&std::free)> digits(compute_wNAF(&scalar, w, len, &used), std::free);
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
}

}  // namespace

void run(Data& data) {
    constexpr void (*checks[])(Data&) = {check_fixed_length, check_sums,     check_products, check_shifts,
                                         check_questions,    check_division, check_inverse,  check_residues,
                                         check_montgomery,   check_digits};
    checks[data.up_to(std::size(checks) - 1)](data);
}

void run_edges() {}

}  // namespace ulmaro::fuzz
