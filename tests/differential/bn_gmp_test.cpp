// Word-array numbers against GMP on the same random operands.
#include <gmp.h>
#include <gtest/gtest.h>

#include "UlmaroAlgrithmInternals.hpp"
#include "support/numbers.hpp"

using namespace ulmaro::test;

namespace {

class Integer {
public:
    Integer() { mpz_init(value_); }
    explicit Integer(const Words& words) : Integer() {
        mpz_import(value_, words.size(), -1, sizeof(unsigned int), 0, 0, words.data());
    }
    Integer(const Integer&) = delete;
    Integer& operator=(const Integer&) = delete;
    ~Integer() { mpz_clear(value_); }

    mpz_ptr get() { return value_; }

    Words words() {
        Words result((mpz_sizeinbase(value_, 2) + 31) / 32);
        std::size_t size = 0;
        mpz_export(result.data(), &size, -1, sizeof(unsigned int), 0, 0, value_);
        result.resize(size);
        return result;
    }

private:
    mpz_t value_;
};

Words head(const Words& words, int top) { return {words.begin(), words.begin() + top}; }

TEST(Gmp, Basics) {
    Random random;
    for (int round = 0; round < 3000; ++round) {
        Words a = random_number(random, 1 + static_cast<int>(random.up_to(8)));
        Words b = random_number(random, 1 + static_cast<int>(random.up_to(8)));
        Words above = buffer(a);
        const int n = static_cast<int>(random.up_to(300));
        Integer x(a);
        Integer y(b);
        Integer z;
        Words r(20);
        int top = 0;
        BN_uadd(r.data(), &top, a.data(), count(a), b.data(), count(b));
        mpz_add(z.get(), x.get(), y.get());
        ASSERT_EQ(head(r, top), z.words());
        BN_mul(r.data(), &top, a.data(), count(a), b.data(), count(b));
        mpz_mul(z.get(), x.get(), y.get());
        ASSERT_EQ(head(r, top), z.words());
        BN_lshift(r.data(), &top, a.data(), count(a), n);
        mpz_mul_2exp(z.get(), x.get(), static_cast<unsigned>(n));
        ASSERT_EQ(head(r, top), z.words());
        BN_rshift(r.data(), &top, above.data(), count(a), n);
        mpz_fdiv_q_2exp(z.get(), x.get(), static_cast<unsigned>(n));
        ASSERT_EQ(head(r, top), z.words());
        ASSERT_EQ(static_cast<std::size_t>(BN_num_bits(a.data(), count(a))), mpz_sizeinbase(x.get(), 2));
        if (mpz_cmp(x.get(), y.get()) < 0) continue;
        BN_usub(r.data(), &top, a.data(), count(a), b.data(), count(b));
        mpz_sub(z.get(), x.get(), y.get());
        ASSERT_EQ(head(r, top), z.words());
    }
}

TEST(Gmp, Division) {
    Random random;
    for (int round = 0; round < 20000; ++round) {
        const bool large = round % 20 == 0;
        Words d = random_number(random, 1 + static_cast<int>(random.up_to(large ? 63 : 9)));
        d.back() >>= random.up_to(31);
        if (d.back() == 0) d.back() = 1;
        Words num = random_number(random, static_cast<int>(random.up_to(large ? 129 : 18)));
        Integer x(num);
        Integer y(d);
        Integer q;
        Integer r;
        mpz_fdiv_qr(q.get(), r.get(), x.get(), y.get());
        Words dv(130);
        Words rm(140);
        int dv_top = 0;
        int rm_top = 0;
        BN_div(dv.data(), &dv_top, rm.data(), &rm_top, num.data(), count(num), d.data(), count(d));
        ASSERT_EQ(head(dv, dv_top), q.words());
        ASSERT_EQ(head(rm, rm_top), r.words());
    }
}

TEST(Gmp, Inverse) {
    Random random;
    for (int round = 0; round < 4000; ++round) {
        Words n = random_number(random, 1 + static_cast<int>(random.up_to(7)));
        Words a = random_number(random, 1 + static_cast<int>(random.up_to(7)));
        Integer x(a);
        Integer y(n);
        Integer z;
        Words r(10);
        int top = 0;
        BN_mod_inverse(r.data(), &top, a.data(), count(a), n.data(), count(n));
        const bool exists = mpz_invert(z.get(), x.get(), y.get()) != 0;
        ASSERT_EQ(head(r, top), exists ? z.words() : Words{});
    }
}

TEST(Gmp, Montgomery) {
    Random random;
    for (int round = 0; round < 8000; ++round) {
        const int len = 1 + round % 8;
        const auto size = static_cast<std::size_t>(len);
        Words m = random_number(random, len);
        m[0] |= 1;
        // Also operands that are not reduced: any len words give a result that is right modulo m.
        Words a = random_words(random, len);
        Words b = random_words(random, len);
        Integer modulus(m);
        Integer x(a);
        Integer y(b);
        if (round % 2 == 0) {
            mpz_mod(x.get(), x.get(), modulus.get());
            mpz_mod(y.get(), y.get(), modulus.get());
            a = extended(x.words(), len);
            b = extended(y.words(), len);
        }
        unsigned int nprime = 0;
        Words rr(size, 0);
        BN_MONT_CTX_set(m.data(), len, &nprime, rr.data());
        Words r(size);
        BN_mod_mul_montgomery(r.data(), a.data(), b.data(), m.data(), len, nprime);
        Integer got(r);
        mpz_mul_2exp(got.get(), got.get(), 32 * static_cast<unsigned>(len));
        Integer expected;
        mpz_mul(expected.get(), x.get(), y.get());
        ASSERT_NE(mpz_congruent_p(got.get(), expected.get(), modulus.get()), 0);
        ASSERT_TRUE(round % 2 != 0 || mpz_cmp(Integer(r).get(), modulus.get()) < 0);
        BN_mod_mul_montgomery_one(r.data(), a.data(), m.data(), len, nprime);
        Integer out(r);
        mpz_mul_2exp(out.get(), out.get(), 32 * static_cast<unsigned>(len));
        ASSERT_NE(mpz_congruent_p(out.get(), x.get(), modulus.get()), 0);
        ASSERT_TRUE(mpz_cmp(Integer(r).get(), modulus.get()) < 0);
    }
}

}  // namespace
