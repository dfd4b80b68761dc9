// Signatures: the standard's examples, every rejection of a draw and of a signature, and what is printed.
#include <gtest/gtest.h>

#include <cstring>

#include "UlmaroAlgrithm.h"
#include "bn/bytes.hpp"
#include "ec/mod_words.hpp"
#include "support/curves.hpp"
#include "support/printed.hpp"
#include "support/replaced_random.hpp"

namespace ulmaro::test {
namespace {

struct Example {
    Curve curve;
    const char *d, *pub, *e, *k, *signature;
};

constexpr Example kExamples[] = {
    {kRecommended, "3945208f7b2144b13f36e38ac6d39f95889393692860b51a42fb81ef4df7c5b8",
     "09f9df311e5421a150dd7d161e4bc5c672179fad1833fc076bb08ff356f35020"
     "ccea490ce26775a52dc6ea718cc1aa600aed05fbf35e084a6632f6072da9ad13",
     "f0b43e94ba45accaace692ed534382eb17e6ab5a19ce7b31f4486fdfc0d28640",
     "59276e27d506861a16680f3ad9c02dccef3cc1fa3cdbe4ce6d54b80deac1bc21",
     "f5a03b0648d2c4630eeac513e1bb81a15944da3827d5b74143ac7eaceee720b3"
     "b1b6aa29df212fd8763182bc0d421ca1bb9038fd1f7f42d4840b69c485bbc1aa"},
    {kExample, "128b2fa8bd433c6c068c8d803dff79792a519a55171b1b650c23661d15897263",
     "0ae4c7798aa0f119471bee11825be46202bb79e2a5844495e97c04ff4df2548a"
     "7c0240f88f1cd4e16352a73c17b7f16f07353e53a176d684a9fe0c6bb798e857",
     "b524f552cd82b8b028476e005c377fb19a87e6fc682d48bb5d42e3d9b9effe76",
     "6cb28d99385c175c94f94e934817663fc176d925dd72b727260dbaae1fb2f96f",
     "40f1ec59f793d9f49e09dcef49130d4194f79fb1eed2caa55bacdb49c4e755d1"
     "6fc6dac32c5d5cf10c77dfb20f7c2eb667a457872fb09ec56327a67ec7deebe7"},
    {kShort, "00000000c8a1e4f2b35d709618adbf0274c9e635d84b1f20a7936ce55b1402f9",
     "00000000e3549bcf1e4cd7e5da6cafae43dca20f9fab9d8892c8d766e4798e9b"
     "0000000057f0d843cdae8717a87c44b09d19313d8de0341886571ab6b5e9da0f",
     "f0b43e94ba45accaace692ed534382eb17e6ab5a19ce7b31f4486fdfc0d28640",
     "000000005be3a90d72f1486cbd05e8279ac364f01b8e7d52f604c93ae8175d2b",
     "0000000027a89bb1efd77c65c12b09ecec4f99dab6cff06ae5197cf2ee504c43"
     "000000007e716eeee1e9f7d26e40fe93a01d04524acce193b905160fa0e53089"},
};

/// Leaves no zeros below, on which a variable without a value would thrive.
[[gnu::noinline]] void soil_stack() {
    volatile unsigned char used[8192];
    for (auto& byte : used) byte = 0xa7;
}

class Signature : public testing::Test {
protected:
    Signature() : grp(prepare(kRecommended)) { reset_random(); }

    /// Signs with the first example's key unless another is given; draws come from the script.
    std::string sign(const Bytes& e) { return sign(e, from_hex(kExamples[0].d)); }
    std::string sign(const Bytes& e, const Bytes& d) {
        ECC_SIGNATURE signature;
        std::memset(&signature, 0xc5, sizeof signature);
        const auto key = record<ECC_PRIVATE_KEY>(to_hex(d));
        int result = -1;
        const auto call = [&] {
            soil_stack();
            result = SM2_ECDSA_Signature(&grp, e.data(), &key, &signature);
        };
        EXPECT_EQ(printed_by(call), "");
        EXPECT_EQ(result, 0);
        return to_hex(object_bytes(signature));
    }

    /// The verdict and what was printed, as one text.
    std::string verify(const Bytes& e, std::string_view pub, std::string_view signature) {
        const auto key = record<ECC_PUBLIC_KEY>(pub);
        const auto sig = record<ECC_SIGNATURE>(signature);
        int verdict = -1;
        const std::string text = printed_by([&] { verdict = SM2_ECDSA_Verification(&grp, e.data(), &key, &sig); });
        return std::to_string(verdict) + " " + text;
    }

    bignum_st number(std::string_view hex) {
        bignum_st a;
        bn::from_be32(a, from_hex(hex).data());
        return a;
    }
    Bytes bytes_of(const bignum_st& a) {
        Bytes b(32);
        bn::to_be32(b.data(), a.words);
        return b;
    }
    bignum_st minus(const bignum_st& a, const bignum_st& b) {  // modulo n
        bignum_st r = {}, x = a, y = b;
        int top = 0;
        BN_mod_sub(r.words, &top, x.words, y.words, grp.order.words, 8);
        return r;
    }
    bignum_st times(bignum_st a, bignum_st b) {
        ec::mul_mod(a, a, b, grp.order, 8);
        return a;
    }
    /// x1 of [k]G, modulo n.
    bignum_st x_of_multiple(const bignum_st& k) {
        ECC_PUBLIC_KEY point;
        bignum_st x, zero = {};
        ECC_CalcPubKeyByPriKey(&grp, &point, &k);
        bn::from_be32(x, point.x);
        ec::add_mod(x, x, zero, grp.order, 8);
        return x;
    }

    ec_group_st grp;
    const std::string zeros = std::string(128, '0');
};

TEST_F(Signature, ReproducesTheExamplesOfTheStandardAndOneOnAShortCurve) {
    for (const Example& x : kExamples) {
        SCOPED_TRACE(x.curve.name);
        grp = prepare(x.curve);
        ReplacedRandom& random = reset_random();
        random.next_scalar(x.k);
        EXPECT_EQ(sign(from_hex(x.e), from_hex(x.d)), x.signature);
        EXPECT_EQ(random.calls, 32);
        EXPECT_EQ(verify(from_hex(x.e), x.pub, x.signature), "1 ");
        EXPECT_EQ(verify(Bytes(32, 0xff), x.pub, sign(Bytes(32, 0xff), from_hex(x.d))), "1 ") << "e above n";
    }
}

TEST_F(Signature, UnderAnOrderWithAShortMontgomeryFactor) {
    // 2^512 is 189^2 modulo this prime. It is no curve's order: what is left to check is s = (k - r d) / (1 + d).
    grp = prepare(kExample);
    grp.order = number("ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff43");
    const Example& x = kExamples[1];
    replaced_random().next_scalar(x.k);
    const std::string signature = sign(from_hex(x.e), from_hex(x.d));
    const bignum_st r = number(signature.substr(0, 64)), s = number(signature.substr(64)), d = number(x.d);
    EXPECT_NE(signature, zeros);
    EXPECT_EQ(to_hex(bytes_of(minus(minus(minus(number(x.k), times(r, d)), s), times(s, d)))), std::string(64, '0'));
}

TEST_F(Signature, MayOverwriteItsInputs) {
    const Example& x = kExamples[0];
    ECC_SIGNATURE record_of_all;
    std::memcpy(record_of_all.r, from_hex(x.e).data(), 32);
    std::memcpy(record_of_all.s, from_hex(x.d).data(), 32);
    replaced_random().next_scalar(x.k);
    SM2_ECDSA_Signature(&grp, record_of_all.r, reinterpret_cast<ECC_PRIVATE_KEY*>(record_of_all.s), &record_of_all);
    EXPECT_EQ(to_hex(object_bytes(record_of_all)), x.signature);
}

TEST_F(Signature, DrawsAgainForEveryRejectedValue) {
    for (const Example& x : kExamples) {
        SCOPED_TRACE(x.curve.name);
        grp = prepare(x.curve);
        const bignum_st k = {{0x123457}};
        const bignum_st x1 = x_of_multiple(k), d = number(x.d);
        const bignum_st e_for_r_zero = minus({}, x1);
        const bignum_st e_for_r_plus_k = minus(minus({}, k), x1);
        // z = k - r d vanishes for r = k / d.
        bignum_st inverse = d;
        ec::inverse_mod(inverse, inverse, grp.order, 8);
        const bignum_st e_for_z_zero = minus(times(k, inverse), x1);
        for (const bignum_st& e : {e_for_r_zero, e_for_r_plus_k, e_for_z_zero}) {
            ReplacedRandom& random = reset_random();
            random.next_scalar(bytes_of(k));
            random.next_scalar(x.k);
            const std::string rejected_first = sign(bytes_of(e), from_hex(x.d));
            EXPECT_EQ(random.calls, 64);
            random.next_scalar(x.k);
            EXPECT_EQ(rejected_first, sign(bytes_of(e), from_hex(x.d)));
            EXPECT_EQ(verify(bytes_of(e), x.pub, rejected_first), "1 ");
        }
    }
}

TEST_F(Signature, GivesUpWhenEveryDrawIsRejected) {
    // Modulo an even number the even 1 + d has no inverse, so s is 0 for every k.
    grp.order.words[0] -= 1;
    Bytes d = from_hex(kExamples[0].d);
    d[31] |= 1;
    EXPECT_EQ(sign(from_hex(kExamples[0].e), d), zeros);
    EXPECT_EQ(replaced_random().calls, 256 * 32);
}

TEST_F(Signature, RefusesKeysAndGroupsThatCannotSign) {
    const Bytes e = from_hex(kExamples[0].e);
    Bytes n_less_1 = from_hex(kRecommended.n), n_less_2 = n_less_1;
    n_less_1[31] -= 1;
    n_less_2[31] -= 2;
    for (const Bytes& d : {Bytes(32), n_less_1, from_hex(kRecommended.n), Bytes(32, 0xff)}) {
        EXPECT_EQ(sign(e, d), zeros) << to_hex(d);
    }
    EXPECT_EQ(verify(e, kExamples[0].pub, zeros), "0 ");
    ECC_PUBLIC_KEY pub;
    const bignum_st largest = number(to_hex(n_less_2));
    ECC_CalcPubKeyByPriKey(&grp, &pub, &largest);
    EXPECT_EQ(verify(e, to_hex(object_bytes(pub)), sign(e, n_less_2)), "1 ");

    for (const char* what : {"even p", "order below 2^224", "never prepared"}) {
        ECCParameter_st param = parameters(kRecommended);
        if (what[0] == 'e') param.p[31] = 0xfe;
        if (what[0] == 'o') std::memset(param.n, 0, 4);
        grp = what[0] == 'n' ? ec_group_st{} : prepare(param);
        EXPECT_EQ(sign(e), zeros) << what;
        // 0 < 1 = r = s: below n, but for the group without order, which reports r.
        Bytes ones(64);
        ones[31] = ones[63] = 1;
        EXPECT_EQ(verify(e, kExamples[0].pub, to_hex(ones)), what[0] == 'n' ? "0 r>=n ret = 1\n" : "0 ") << what;
    }
}

TEST_F(Signature, VerificationNamesTheFirstFailure) {
    const Example& x = kExamples[0];
    const Bytes e = from_hex(x.e);
    const std::string r(x.signature, 64), s(x.signature + 64), n = kRecommended.n, ones(64, 'f'), zero(64, '0');
    const std::string n_less_r = to_hex(bytes_of(minus({}, number(r))));
    EXPECT_EQ(verify(e, x.pub, n + s), "0 r>=n ret = 0\n");
    EXPECT_EQ(verify(e, x.pub, ones + s), "0 r>=n ret = 1\n");
    EXPECT_EQ(verify(e, x.pub, r + n), "0 s>=n ret = 0\n");
    EXPECT_EQ(verify(e, x.pub, r + ones), "0 s>=n ret = 1\n");
    EXPECT_EQ(verify(e, x.pub, ones + ones), "0 r>=n ret = 1\n");
    EXPECT_EQ(verify(e, x.pub, zero + s), "0 ");
    EXPECT_EQ(verify(e, x.pub, r + zero), "0 ");
    EXPECT_EQ(verify(e, x.pub, r + n_less_r), "0 ") << "t = 0";

    // The printed number is the order of r and (e + x1) mod n.
    Bytes altered = e;
    altered[31] ^= 1;  // 40 becomes 41: R is one more than r
    EXPECT_EQ(verify(altered, x.pub, x.signature), "0 cmp different! ret= -1\n");
    altered[31] = 0x3f;
    EXPECT_EQ(verify(altered, x.pub, x.signature), "0 cmp different! ret= 1\n");
    for (const std::size_t at : {31U, 63U}) {
        Bytes bytes = from_hex(x.signature);
        bytes[at] ^= 1;
        EXPECT_EQ(verify(e, x.pub, to_hex(bytes)).substr(0, 21), "0 cmp different! ret=");
    }
}

TEST_F(Signature, VerificationRefusesAnInfiniteSum) {
    // With s = -t d the sum is infinite; an x1 read as 0 would accept r = e.
    const Example& x = kExamples[0];
    const bignum_st r = {{0xabcde}}, d = number(x.d);
    bignum_st s = minus(minus({}, d), {{1}});  // s (1 + d) = -r d
    ec::inverse_mod(s, s, grp.order, 8);
    s = times(s, times(r, d));
    EXPECT_EQ(verify(bytes_of(r), x.pub, to_hex(bytes_of(r)) + to_hex(bytes_of(s))), "0 ");
}

TEST_F(Signature, VerificationRefusesAZeroHalfThatTheRestFits) {
    // For the key d = 3 and the other half 2: e = r - x([s + 3 (r + s)]G).
    for (const Example& example : kExamples) {
        grp = prepare(example.curve);
        ECC_PUBLIC_KEY key;
        const bignum_st d = {{3}}, two = {{2}};
        ECC_CalcPubKeyByPriKey(&grp, &key, &d);
        const std::string pub = to_hex(object_bytes(key)), half = to_hex(bytes_of(two)), zero(64, '0');
        EXPECT_EQ(verify(bytes_of(minus(two, x_of_multiple({{6}}))), pub, half + zero), "0 ");
        EXPECT_EQ(verify(bytes_of(minus({}, x_of_multiple({{8}}))), pub, zero + half), "0 ");
    }
}

TEST_F(Signature, VerificationRefusesKeysOffTheCurve) {
    // (0, 0) has order 2. With t = 2^40 above all bits of s it is gone before the first multiple of G comes in, so the
    // comparison alone would accept.
    const std::string off(128, '0');
    const bignum_st s = {{0x765432}}, t = {{0, 0x100}};
    const bignum_st r = minus(t, s);
    const bignum_st e = minus(r, x_of_multiple(s));
    const std::string signature = to_hex(bytes_of(r)) + to_hex(bytes_of(s));
    EXPECT_EQ(verify(bytes_of(e), off, signature), "0 ");
    EXPECT_EQ(verify(bytes_of(minus(e, {{1}})), off, signature), "0 cmp different! ret= 1\n");
}

}  // namespace
}  // namespace ulmaro::test
