// Points, signatures and ciphertexts against OpenSSL's libcrypto: the five curves through its general curve arithmetic,
// the recommended one through its SM2 signature and encryption, both ways.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "UlmaroAlgrithmInternals.hpp"
#include "bn/bytes.hpp"
#include "support/curves.hpp"
#include "support/openssl_sm2.hpp"
#include "support/printed.hpp"
#include "support/random.hpp"
#include "support/replaced_random.hpp"

namespace ulmaro::test {
namespace {

using Context = std::unique_ptr<BN_CTX, Releaser<BN_CTX_free>>;
using Group = std::unique_ptr<EC_GROUP, Releaser<EC_GROUP_free>>;
using Point = std::unique_ptr<EC_POINT, Releaser<EC_POINT_free>>;

Bytes bytes_of(const BIGNUM* a) {
    Bytes b(32);
    BN_bn2binpad(a, b.data(), 32);
    return b;
}

bignum_st words_of(const Bytes& be) {
    bignum_st a;
    bn::from_be32(a, be.data());
    return a;
}

class Oracle {
public:
    explicit Oracle(const Curve& c)
        : n(number(c.n)),
          context_(BN_CTX_new()),
          group_(EC_GROUP_new_curve_GFp(number(c.p).get(), number(c.a).get(), number(c.b).get(), context_.get())) {
        Point g(EC_POINT_new(group_.get()));
        EC_POINT_set_affine_coordinates(group_.get(), g.get(), number(c.Gx).get(), number(c.Gy).get(), context_.get());
        EC_GROUP_set_generator(group_.get(), g.get(), n.get(), BN_value_one());
    }

    /// x || y of [k]G + [l]Q, zeros for infinity; Q may be empty.
    Bytes multiply(const Bytes& k, const Bytes& Q = {}, const Bytes& l = {}) {
        Point sum(EC_POINT_new(group_.get()));
        if (Q.empty()) {
            EC_POINT_mul(group_.get(), sum.get(), number(k).get(), nullptr, nullptr, context_.get());
        } else {
            Point q(EC_POINT_new(group_.get()));
            const std::span<const unsigned char> xy(Q);
            EXPECT_EQ(EC_POINT_set_affine_coordinates(group_.get(), q.get(), number(xy.first(32)).get(),
                                                      number(xy.last(32)).get(), context_.get()),
                      1);
            EC_POINT_mul(group_.get(), sum.get(), number(k).get(), q.get(), number(l).get(), context_.get());
        }
        if (EC_POINT_is_at_infinity(group_.get(), sum.get()) == 1) return Bytes(64);
        Bn x(BN_new()), y(BN_new());
        EC_POINT_get_affine_coordinates(group_.get(), sum.get(), x.get(), y.get(), context_.get());
        Bytes xy = bytes_of(x.get());
        const Bytes tail = bytes_of(y.get());
        xy.insert(xy.end(), tail.begin(), tail.end());
        return xy;
    }

    /// r || s of GM/T 0003.2 for this k.
    Bytes sign(const Bytes& e, const Bytes& d, const Bytes& k) {
        const Bytes kg = multiply(k);
        Bn r(BN_new()), s(BN_new()), t(BN_new());
        BN_mod_add(r.get(), number(e).get(), number(std::span(kg).first(32)).get(), n.get(), context_.get());
        BN_mod_mul(t.get(), r.get(), number(d).get(), n.get(), context_.get());
        BN_mod_sub(t.get(), number(k).get(), t.get(), n.get(), context_.get());
        BN_add(s.get(), number(d).get(), BN_value_one());
        BN_mod_inverse(s.get(), s.get(), n.get(), context_.get());
        BN_mod_mul(s.get(), s.get(), t.get(), n.get(), context_.get());
        Bytes signature = bytes_of(r.get());
        const Bytes tail = bytes_of(s.get());
        signature.insert(signature.end(), tail.begin(), tail.end());
        return signature;
    }

    Bn n;

private:
    Context context_;
    Group group_;
};

/// Extremes, then random ones; the library's own range rule does not apply to them.
std::vector<Bytes> scalars(const Curve& curve, Random& random) {
    std::vector<Bytes> list = {Bytes(32), Bytes(32, 0xff), from_hex(curve.n)};
    for (const int by : {1, 2, 3}) {
        list.push_back(from_hex(curve.n));
        list.back()[31] = static_cast<unsigned char>(list.back()[31] - by);
        list.emplace_back(32);
        list.back()[31] = static_cast<unsigned char>(by);
    }
    list.emplace_back(32);
    list.back()[15] = 1;
    for (int i = 0; i < 8; ++i) list.push_back(random.bytes(32));
    return list;
}

TEST(Sm2OpenSsl, MultipliesPointsAlikeOnFiveCurves) {
    Random random;
    for (const Curve& curve : kCurves) {
        SCOPED_TRACE(curve.name);
        Oracle oracle(curve);
        ec_group_st grp = prepare(curve);
        const std::vector<Bytes> list = scalars(curve, random);
        for (std::size_t i = 0; i < list.size(); ++i) {
            const bignum_st k = words_of(list[i]);
            ECC_PUBLIC_KEY product;
            ECC_CalcPubKeyByPriKey(&grp, &product, &k);
            EXPECT_EQ(snapshot(product), oracle.multiply(list[i])) << to_hex(list[i]);

            // Both terms, with the general entry.
            bignum_st s = k, t = words_of(list[(i * 7 + 3) % list.size()]), x, y;
            const Bytes q = oracle.multiply(list.back());
            ec_point_st Q = grp.generator, sum = {};
            x = words_of(Bytes(q.begin(), q.begin() + 32));
            y = words_of(Bytes(q.begin() + 32, q.end()));
            BN_mod_mul_montgomery(Q.X.words, x.words, grp.rr, grp.prime.words, 8, grp.nprime);
            BN_mod_mul_montgomery(Q.Y.words, y.words, grp.rr, grp.prime.words, 8, grp.nprime);
            EC_POINTs_mul(&grp, &sum, &grp.generator, &s, &Q, &t);
            ec_GFp_simple_point_get_affine_coordinates_GFp(&grp, &sum, &x, &y);
            Bytes xy(64);
            bn::to_be32(xy.data(), x.words);
            bn::to_be32(xy.data() + 32, y.words);
            EXPECT_EQ(xy, oracle.multiply(list[i], q, list[(i * 7 + 3) % list.size()]));
        }
    }
}

TEST(Sm2OpenSsl, SignsAlikeOnFiveCurves) {
    Random random;
    for (const Curve& curve : kCurves) {
        SCOPED_TRACE(curve.name);
        Oracle oracle(curve);
        const ec_group_st grp = prepare(curve);
        for (int i = 0; i < 6; ++i) {
            const Bytes e = i == 0 ? Bytes(32, 0xff) : random.bytes(32);
            Bytes k = random.bytes(32), d = random.bytes(32);
            k[0] &= 0x7f;  // below every order
            d[0] &= 0x7f;
            const Bytes pub_bytes = oracle.multiply(d);
            auto key = record<ECC_PRIVATE_KEY>(to_hex(d));
            auto pub = record<ECC_PUBLIC_KEY>(to_hex(pub_bytes));
            ECC_SIGNATURE signature;
            reset_random().next_scalar(k);
            SM2_ECDSA_Signature(&grp, e.data(), &key, &signature);
            EXPECT_EQ(snapshot(signature), oracle.sign(e, d, k));
            EXPECT_EQ(printed_by([&] { EXPECT_EQ(SM2_ECDSA_Verification(&grp, e.data(), &pub, &signature), 1); }), "");
            for (unsigned char* byte : {&signature.r[31], &signature.s[31], &pub.x[31]}) {
                *byte ^= 1;
                EXPECT_NE(printed_by([&] {
                              EXPECT_EQ(SM2_ECDSA_Verification(&grp, e.data(), &pub, &signature), 0);
                          }).find("cmp different! ret= "),
                          std::string::npos);
                *byte ^= 1;
            }
        }
    }
}

class Sm2OpenSslPair : public testing::Test {
protected:
    Sm2OpenSslPair() : grp(prepare(kRecommended)) {
        reset_random();
        srand(random.word());
        SM2_ECC_GenerateKeyPair(&grp, &pub, &d);
        key = openssl_key(d, pub);
        EXPECT_NE(key, nullptr);
        context.reset(EVP_PKEY_CTX_new(key.get(), nullptr));
    }

    Random random;
    ec_group_st grp;
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY d;
    Key key;
    KeyContext context;
};

TEST_F(Sm2OpenSslPair, AcceptsSignaturesBothWays) {
    for (int i = 0; i < 8; ++i) {
        const Bytes e = random.bytes(32);
        ECC_SIGNATURE ours;
        SM2_ECDSA_Signature(&grp, e.data(), &d, &ours);
        EXPECT_TRUE(openssl_verifies(context.get(), e, ours));

        unsigned char der[80];
        std::size_t size = sizeof der;
        EVP_PKEY_sign_init(context.get());
        ASSERT_EQ(EVP_PKEY_sign(context.get(), der, &size, e.data(), 32), 1);
        const unsigned char* begin = der;
        const std::unique_ptr<ECDSA_SIG, Releaser<ECDSA_SIG_free>> theirs(
            d2i_ECDSA_SIG(nullptr, &begin, static_cast<long>(size)));
        const Bytes r = bytes_of(ECDSA_SIG_get0_r(theirs.get())), s = bytes_of(ECDSA_SIG_get0_s(theirs.get()));
        const auto signature = record<ECC_SIGNATURE>(to_hex(r) + to_hex(s));
        EXPECT_EQ(SM2_ECDSA_Verification(&grp, e.data(), &pub, &signature), 1);
    }
}

/// SEQUENCE { x INTEGER, y INTEGER, hash OCTET STRING, cipher OCTET STRING } of GM/T 0009, and back.
struct Der {
    static void put(Bytes& out, unsigned char tag, std::span<const unsigned char> content) {
        out.push_back(tag);
        if (content.size() > 127) {
            out.push_back(0x82);
            out.push_back(static_cast<unsigned char>(content.size() >> 8));
        }
        out.push_back(static_cast<unsigned char>(content.size()));
        out.insert(out.end(), content.begin(), content.end());
    }
    static void put_number(Bytes& out, const unsigned char* be32) {
        Bytes content(be32, be32 + 32);
        while (content.size() > 1 && content[0] == 0 && content[1] < 0x80) content.erase(content.begin());
        if (content[0] >= 0x80) content.insert(content.begin(), 0);
        put(out, 2, content);
    }
    static Bytes take(std::span<const unsigned char>& in) {
        std::size_t size = in[1], head = 2;
        if (size > 127) {
            head += size & 0x7f;
            size = 0;
            for (std::size_t i = 2; i < head; ++i) size = size << 8 | in[i];
        }
        const Bytes content(in.begin() + static_cast<std::ptrdiff_t>(head),
                            in.begin() + static_cast<std::ptrdiff_t>(head + size));
        in = in.subspan(head + size);
        return content;
    }
};

TEST_F(Sm2OpenSslPair, ReadsCiphertextsBothWays) {
    for (const std::size_t size : {1U, 2U, 31U, 32U, 33U, 100U, 1000U}) {
        const Bytes message = random.bytes(size);
        Bytes ours(100 + size), body, der, opened(size + 100);
        SM2_ECES_Encryption(&grp, message.data(), static_cast<int>(size), &pub,
                            reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(ours.data()));
        Der::put_number(body, ours.data());
        Der::put_number(body, ours.data() + 32);
        Der::put(body, 4, std::span(ours).subspan(64, 32));
        Der::put(body, 4, std::span(ours).subspan(100));
        Der::put(der, 0x30, body);
        std::size_t opened_size = opened.size();
        EVP_PKEY_decrypt_init(context.get());
        ASSERT_EQ(EVP_PKEY_decrypt(context.get(), opened.data(), &opened_size, der.data(), der.size()), 1) << size;
        opened.resize(opened_size);
        EXPECT_EQ(opened, message);

        std::size_t der_size = size + 200;
        der.resize(der_size);
        EVP_PKEY_encrypt_init(context.get());
        ASSERT_EQ(EVP_PKEY_encrypt(context.get(), der.data(), &der_size, message.data(), size), 1);
        std::span<const unsigned char> in(der);
        body = Der::take(in);
        in = body;
        const Bytes x = bytes_of(number(Der::take(in)).get()), y = bytes_of(number(Der::take(in)).get());
        const Bytes hash = Der::take(in), cipher = Der::take(in);
        Bytes theirs = x;
        theirs.insert(theirs.end(), y.begin(), y.end());
        theirs.insert(theirs.end(), hash.begin(), hash.end());
        const auto length = static_cast<unsigned int>(size);
        const Bytes length_bytes = snapshot(length);
        theirs.insert(theirs.end(), length_bytes.begin(), length_bytes.end());
        theirs.insert(theirs.end(), cipher.begin(), cipher.end());
        Bytes plain(size);
        EXPECT_EQ(SM2_ECES_Decryption(&grp, reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(theirs.data()), &d, plain.data()),
                  1);
        EXPECT_EQ(plain, message);
    }
}

}  // namespace
}  // namespace ulmaro::test
