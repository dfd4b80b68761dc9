// The C++ header over a shared library: published vectors, agreement with the C entry points, and what it refuses.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "UlmaroAlgrithm.hpp"
#include "support/bytes.hpp"
#include "support/curves.hpp"
#include "support/printed.hpp"

namespace ulmaro::algrithm {
namespace {

using namespace test;

static_assert(!std::is_copy_constructible_v<PrivateKey> && std::is_nothrow_move_constructible_v<PrivateKey>);
static_assert(!std::is_convertible_v<Digest, Signature> && !std::is_constructible_v<Signature, PublicKey>);

#define EXPECT_REFUSED(call) EXPECT_THROW(static_cast<void>(call), Error)
/// And the library has printed why.
#define EXPECT_REFUSED_ALOUD(call) EXPECT_NE(printed_by([&] { EXPECT_REFUSED(call); }), "")

std::array<unsigned char, 16> block(std::string_view hex) {
    std::array<unsigned char, 16> result{};
    const Bytes bytes = from_hex(hex);
    std::copy_n(bytes.begin(), 16, result.begin());
    return result;
}

template <class Value>
Value value(std::string_view hex) {
    return Value::from(from_hex(hex));
}

PrivateKey private_key(std::string_view hex) { return PrivateKey(View(from_hex(hex)).first<32>()); }

const auto sample_key = block("0123456789abcdeffedcba9876543210");
const Sm4::Iv sample_iv = block("3c59270ea144d8906bf31d72c5880ae6");

struct {
    std::size_t curve;
    const char *d, *e, *k, *signature;
} constexpr known_signatures[] = {
#include "vectors/sm2_signatures.inc"
};
struct {
    std::size_t curve;
    const char *d, *k, *record;
} constexpr known_ciphertexts[] = {
#include "vectors/sm2_ciphertexts.inc"
};
constexpr const char* d_hex = known_signatures[0].d;
/// Of the signatures.
constexpr const char* known_keys[] = {
    "09f9df311e5421a150dd7d161e4bc5c672179fad1833fc076bb08ff356f35020"
    "ccea490ce26775a52dc6ea718cc1aa600aed05fbf35e084a6632f6072da9ad13",
    "0ae4c7798aa0f119471bee11825be46202bb79e2a5844495e97c04ff4df2548a"
    "7c0240f88f1cd4e16352a73c17b7f16f07353e53a176d684a9fe0c6bb798e857"};

TEST(ConvenienceSm3, VectorsStreamsAndKeyDerivation) {
    EXPECT_EQ(to_hex(Sm3::hash(bytes_of("abc")).bytes()),
              "66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0");
    const Bytes message = pattern(200);
    Sm3 stream;
    stream.update(View(message).first(70));
    Sm3 fork = stream;
    EXPECT_EQ(stream.update(View(message).subspan(70)).finish(), Sm3::hash(message));
    EXPECT_EQ(fork.finish(), Sm3::hash(View(message).first(70)));
    EXPECT_EQ(stream.update(bytes_of("abc")).finish(), Sm3::hash(bytes_of("abc"))) << "finished streams are empty";

    Bytes counted = message;
    counted.insert(counted.end(), {0, 0, 0, 1});
    EXPECT_EQ(to_hex(derive_key<32>(message)), to_hex(Sm3::hash(counted).bytes()));
    EXPECT_EQ(to_hex(derive_key<32>({})), to_hex(Sm3::hash(View(counted).last(4)).bytes()));
    Bytes expected(77);
    SM2_KDF_ALGRITRHM(message.data(), 200, 77, expected.data());
    EXPECT_EQ(to_hex(derive_key<77>(message)), to_hex(expected));
}

// From 2^29 bytes on the C stream's own count has wrapped. The digests of as many zero bytes are openssl's.
TEST(ConvenienceSm3, MessagesBeyondTheCountOfTheStream) {
    const Bytes zeros(1U << 22);
    Sm3 stream;
    for (int i = 0; i < 127; ++i) stream.update(zeros);
    stream.update(View(zeros).subspan(1));
    for (const char* expected : {"1c4679f9e1f0dcbe86f8cd17b4df4fa26c84cde56f68b1b0b71ceb50c404b442",
                                 "7927ca8884a535d9a4d80986f7c478a790013ee370836dfb86a36b4443c86533",
                                 "1860c1d3654409dd1bbc7aea48889ae732d3aa767f282add9cea59a059fc6d1f"}) {
        EXPECT_EQ(to_hex(Sm3(stream).finish().bytes()), expected);
        stream.update(View(zeros).first(1));
    }
}

TEST(Convenience, ArgumentsOfMoreThanOnePiece) {
    const Bytes message = pattern(detail::piece + 48);
    const int size = static_cast<int>(message.size());
    std::array<unsigned char, 32> digest;
    SM3_HASH(message.data(), size, digest.data());
    EXPECT_EQ(Sm3::hash(message), Digest(digest));

    const Sm4 cipher(sample_key);
    Bytes text = message, expected(message.size());
    SM4_X_CBC_EN_MODE_EX(message.data(), size, sample_key.data(), sample_iv.data(), expected.data());
    Sm4::Iv chain = sample_iv;
    cipher.cbc_encrypt(chain, text, text);
    EXPECT_TRUE(text == expected && std::equal(chain.begin(), chain.end(), text.end() - 16));
    chain = sample_iv;
    cipher.cbc_decrypt(chain, text, text);
    EXPECT_TRUE(text == message && std::equal(chain.begin(), chain.end(), expected.end() - 16));
    cipher.ecb_encrypt(text, text);
    cipher.ecb_decrypt(View(text).last(32), std::span(text).last(32));
    EXPECT_TRUE(std::equal(text.end() - 32, text.end(), message.end() - 32));
}

TEST(ConvenienceSm2, StandardExamples) {
    for (const auto& v : known_signatures) {
        const Curve curve(parameters(known_curves[v.curve]));
        const auto key = value<PublicKey>(known_keys[v.curve]);
        const auto signature = value<Signature>(v.signature);
        const char* const users[] = {"1234567812345678", "ALICE123@YAHOO.COM"};
        EXPECT_TRUE(curve.verify(key, bytes_of("message digest"), signature, users[v.curve]));
        EXPECT_TRUE(curve.verify_digest(key, value<Digest>(v.e), signature));
    }
    for (const auto& v : known_ciphertexts) {
        const std::string all = v.record, c1 = "04" + all.substr(0, 128), c3 = all.substr(128, 64),
                          c2 = all.substr(200);
        const Ciphertext ciphertext = Ciphertext::from_raw(from_hex(c1 + c3 + c2));
        EXPECT_EQ(Ciphertext::from_raw(from_hex(c1 + c2 + c3), Ciphertext::Order::c1c2c3), ciphertext);
        EXPECT_EQ(Ciphertext::from_record(from_hex(all)), ciphertext);
        EXPECT_EQ(to_hex(ciphertext.raw()), c1 + c3 + c2);
        EXPECT_EQ(to_hex(ciphertext.raw(Ciphertext::Order::c1c2c3)), c1 + c2 + c3);
        EXPECT_EQ(to_hex(ciphertext.bytes()), all);
        const Bytes plain = Curve(parameters(known_curves[v.curve])).decrypt(private_key(v.d), ciphertext);
        EXPECT_EQ(to_hex(plain), to_hex(bytes_of("encryption standard")));
    }
    const Curve curve;
    const PublicKey key = curve.public_key(private_key(d_hex));
    EXPECT_EQ(key, value<PublicKey>(known_keys[0]));
    EXPECT_EQ(to_hex(curve.identity_digest(key).bytes()),
              "b2e14c5c79c6df5b85f4fe7ed8db7a262b9da7e07ccb0ea9f4747b8ccda8a4f3");
    EXPECT_TRUE(curve.verify(key, bytes_of("message digest"), value<Signature>(known_signatures[0].signature)));
}

TEST(ConvenienceSm2, AnotherCurve) {
    const Curve curve(parameters(example_curve));
    const auto key = value<PublicKey>(known_keys[1]);
    EXPECT_TRUE(curve.contains(key));
    EXPECT_FALSE(Curve().contains(key));
    const auto signature = value<Signature>(known_signatures[1].signature);
    EXPECT_EQ(printed_by([&] { EXPECT_FALSE(curve.verify(key, bytes_of("message digest"), signature)); }).substr(0, 14),
              "cmp different!");
    EXPECT_REFUSED(curve.public_key(private_key(d_hex)));
    const KeyPair pair = curve.generate();
    EXPECT_TRUE(curve.verify(pair.public_key, bytes_of("m"), curve.sign(pair, bytes_of("m"))));
    EXPECT_EQ(curve.decrypt(pair.private_key, curve.encrypt(pair.public_key, bytes_of("m"))), Bytes{'m'});
}

TEST(ConvenienceSm2, RoundTrips) {
    const Curve curve;
    const KeyPair pair = curve.generate();
    EXPECT_EQ(curve.public_key(pair.private_key), pair.public_key);
    const Bytes message = pattern(1000);
    const Signature signature = curve.sign(pair, message);
    EXPECT_TRUE(curve.verify(pair.public_key, message, signature));
    const Digest e = curve.message_stream(pair.public_key).update(message).finish();
    EXPECT_TRUE(curve.verify_digest(pair.public_key, e, signature));
    EXPECT_TRUE(curve.verify_digest(pair.public_key, e, curve.sign_digest(pair.private_key, e)));
    EXPECT_NE(curve.sign(pair, message, "another"), signature);
    EXPECT_NE(printed_by([&] { EXPECT_FALSE(curve.verify_digest(pair.public_key, Sm3::hash(message), signature)); }),
              "");
    const Ciphertext sealed = curve.encrypt(pair.public_key, message);
    EXPECT_EQ(curve.decrypt(pair.private_key, sealed), message);
    Bytes opened(message.size());
    curve.decrypt(pair.private_key, Ciphertext::from_parts(sealed.c1(), sealed.c3(), sealed.c2()), opened);
    EXPECT_EQ(opened, message);
}

TEST(ConvenienceSm2, Refusals) {
    const Curve curve;
    const KeyPair pair = curve.generate();
    const Digest e;
    for (const char* d : {"0000000000000000000000000000000000000000000000000000000000000000",
                          "fffffffeffffffffffffffffffffffff7203df6b21c6052b53bbf40939d54122"}) {
        EXPECT_REFUSED(curve.sign_digest(private_key(d), e)) << d;
    }
    EXPECT_REFUSED(curve.public_key(private_key(recommended_curve.n)));
    EXPECT_REFUSED(curve.encrypt(pair.public_key, {}));
    EXPECT_REFUSED(curve.encrypt(PublicKey(), bytes_of("m")));
    EXPECT_REFUSED(curve.identity_digest(pair.public_key, std::string(8192, 'x')));
    EXPECT_NO_THROW(static_cast<void>(curve.identity_digest(pair.public_key, std::string(8191, 'x'))));
    EXPECT_FALSE(curve.verify_digest(PublicKey(), e, Signature()));

    // Lengths are looked at before anything is read, and before the key.
    const unsigned char byte = 0;
    const auto complaint = [&](std::size_t size) -> std::string {
        try {
            static_cast<void>(curve.encrypt(PublicKey(), View(&byte, size)));
        } catch (const Error& error) {
            return error.what();
        }
        return "none";
    };
    EXPECT_EQ(max_message_size, 536870847U);
    EXPECT_EQ(complaint(max_message_size), complaint(1));
    EXPECT_NE(complaint(max_message_size + 1), complaint(1));
    EXPECT_REFUSED(derive_key(View(&byte, 536870908), {}));

    const Ciphertext good = curve.encrypt(pair.public_key, bytes_of("a message"));
    for (const std::size_t at : {std::size_t{0}, std::size_t{64}, std::size_t{100}}) {
        Bytes bad(good.bytes().begin(), good.bytes().end());
        bad[at] ^= 1;
        const Ciphertext changed = Ciphertext::from_record(bad);
        EXPECT_REFUSED_ALOUD(curve.decrypt(pair.private_key, changed));
        Bytes opened(9, 1);
        EXPECT_REFUSED_ALOUD(curve.decrypt(pair.private_key, changed, opened));
        EXPECT_EQ(opened, Bytes(9));
        EXPECT_REFUSED(curve.decrypt(pair.private_key, good, std::span(opened).first(8)));
    }
    EXPECT_REFUSED(Ciphertext::from_parts(good.c1(), good.c3(), {}));
    const Ciphertext empty = Ciphertext::from_record(Bytes(100));
    EXPECT_REFUSED_ALOUD(curve.decrypt(pair.private_key, empty));
    Bytes shortened(good.bytes().begin(), good.bytes().end() - 1);
    EXPECT_REFUSED(Ciphertext::from_record(shortened));
    EXPECT_REFUSED(Ciphertext::from_record(View(shortened).first(99)));
    Bytes raw = good.raw();
    EXPECT_REFUSED(Ciphertext::from_raw(View(raw).first(97)));
    raw[0] = 2;
    EXPECT_REFUSED(Ciphertext::from_raw(raw));
    EXPECT_REFUSED(PublicKey::from(from_hex("04" + std::string(128, '1'))));
}

TEST(ConvenienceSm2, UnusableCurves) {
    const ECCParameter_st good = parameters(recommended_curve);
    ECCParameter_st off = good, even = good, small = good;
    off.Gx[31] ^= 1;
    even.p[31] ^= 1;  // with a base point, (0, 0), that is on the curve
    for (auto* field : {&even.b, &even.Gx, &even.Gy}) std::fill_n(*field, 32, static_cast<unsigned char>(0));
    std::fill_n(small.n, 4, static_cast<unsigned char>(0));
    for (const ECCParameter_st& bad : {off, even, small, ECCParameter_st{}}) EXPECT_REFUSED(Curve{bad});
}

// Points of P-256 with a coordinate so small that it has a second spelling, itself plus p. The C entry points take
// both. As base points they are the public keys of 1.
TEST(ConvenienceSm2, OnlyOneSpellingOfAKeyIsTaken) {
    const std::string p = "ffffffff00000001000000000000000000000000ffffffffffffffffffffffff", zero(64, '0'),
                      low = zero.substr(1) + '5';
    const std::string y_of_0 = "66485c780e2f83d72433bd5d84a06bb6541c2af31dae871728bf856a174f93f4";
    const std::string x_of_5 = "d7325d7646cd60d80a92738ceb345f844cffaf35841022cab176f692de8de1d7";
    const std::string p_and_5 = "ffffffff00000001000000000000000000000001000000000000000000000004";
    const std::string points[][3] = {{zero, y_of_0, p + y_of_0}, {x_of_5, low, x_of_5 + p_and_5}};
    const PrivateKey one = private_key(zero.substr(1) + '1');
    const Digest e;
    for (const auto& [x, y, second] : points) {
        test::Curve based = known_curves[2];
        based.Gx = x.c_str();
        based.Gy = y.c_str();
        const Curve curve(parameters(based));
        const auto key = value<PublicKey>(x + y), alias = value<PublicKey>(second);
        const Signature signature = curve.sign_digest(one, e);
        EXPECT_TRUE(curve.contains(key) && curve.verify_digest(key, e, signature));
        EXPECT_EQ(curve.decrypt(one, curve.encrypt(key, bytes_of("m"))), Bytes{'m'});
        EXPECT_FALSE(curve.contains(alias));
        EXPECT_FALSE(curve.verify_digest(alias, e, signature));
        EXPECT_REFUSED(curve.encrypt(alias, bytes_of("m")));
    }
}

TEST(ConvenienceSm4, ModesAgreeWithTheEntryPointsAndStreamsGoOn) {
    const Sm4 cipher(sample_key);
    const Bytes message = pattern(160);
    Bytes whole(160);
    SM4_X_CBC_EN_MODE_EX(message.data(), 160, sample_key.data(), sample_iv.data(), whole.data());
    for (std::size_t cut = 0; cut <= 160; cut += 16) {
        Bytes text = message;
        const std::span first = std::span(text).first(cut), second = std::span(text).subspan(cut);
        Sm4::Iv chain = sample_iv;
        cipher.cbc_encrypt(chain, first, first);
        cipher.cbc_encrypt(chain, second, second);
        EXPECT_EQ(text, whole) << cut;
        chain = sample_iv;
        cipher.cbc_decrypt(chain, first, first);
        cipher.cbc_decrypt(chain, second, second);
        EXPECT_EQ(text, message) << cut;
    }
    Bytes out(17);
    Sm4::Iv chain = sample_iv;
    EXPECT_REFUSED(cipher.cbc_encrypt(chain, message, out));
    EXPECT_REFUSED(cipher.cbc_decrypt(chain, out, out));
    EXPECT_REFUSED(cipher.ecb_encrypt(out, out));
    EXPECT_REFUSED(cipher.ecb_encrypt(View(out).first(0), std::span(out).first(16)));
    EXPECT_EQ(chain, sample_iv);
}

TEST(ConvenienceSm4, PaddingIsPutOnAndOnlyTheRightOneTakenOff) {
    const Sm4 cipher(sample_key);
    for (std::size_t size = 0; size <= 48; ++size) {
        const Bytes message = pattern(size);
        const Bytes ciphertext = cipher.cbc_encrypt_padded(sample_iv, message);
        EXPECT_EQ(ciphertext.size(), size / 16 * 16 + 16);
        Bytes padded(ciphertext.size());
        SM4_X_CBC_DE_MODE_EX(ciphertext.data(), static_cast<int>(ciphertext.size()), sample_key.data(),
                             sample_iv.data(), padded.data());
        Bytes expected = message;
        expected.resize(padded.size(), static_cast<unsigned char>(padded.size() - size));
        EXPECT_EQ(padded, expected);
        EXPECT_EQ(cipher.cbc_decrypt_padded(sample_iv, ciphertext), message);
        EXPECT_REFUSED(cipher.cbc_decrypt_padded(sample_iv, View(ciphertext).subspan(1)));
    }
    EXPECT_REFUSED(cipher.cbc_decrypt_padded(sample_iv, {}));

    // Every last byte, over padding that is right for it (as far as there can be one), and with each byte wrong.
    for (unsigned last = 0; last < 256; ++last) {
        for (unsigned wrong = 0; wrong <= 16; ++wrong) {  // 16: none
            Bytes two(32, 0xa5);
            for (unsigned i = 31; i >= 32 - std::min(last, 16U) && i >= 16; --i)
                two[i] = static_cast<unsigned char>(last);
            two[31] = static_cast<unsigned char>(last);
            if (wrong < 15) two[16 + wrong] ^= 0x40;
            const bool harmless = wrong >= 15 || wrong < 16 - std::min(last, 16U);
            const bool valid = last >= 1 && last <= 16 && harmless;
            Sm4::Iv chain = sample_iv;
            const Bytes plain = two;
            cipher.cbc_encrypt(chain, two, two);
            if (valid) {
                EXPECT_EQ(cipher.cbc_decrypt_padded(sample_iv, two), Bytes(plain.begin(), plain.end() - last));
            } else {
                EXPECT_REFUSED(cipher.cbc_decrypt_padded(sample_iv, two)) << last << ' ' << wrong;
            }
        }
    }
}

template <class Object>
void expect_wiped(Object object) {
    alignas(Object) static std::array<unsigned char, sizeof(Object)> room;
    room.fill(0xee);
    std::destroy_at(new (room.data()) Object(std::move(object)));
    EXPECT_EQ(Bytes(room.begin(), room.end()), Bytes(sizeof(Object)));
}

TEST(Convenience, SecretsAreWiped) {
    expect_wiped(private_key(d_hex));
    expect_wiped(Sm4(sample_key));
    Sm3 stream;
    expect_wiped(stream.update(from_hex(d_hex)));
}

// By construction and by assignment; NOLINTBEGIN(bugprone-use-after-move): what is left is promised.
TEST(Convenience, MovedFrom) {
    PrivateKey key = private_key(d_hex);
    PrivateKey key_to(std::move(key));
    EXPECT_EQ(to_hex(key.bytes()), std::string(64, '0'));
    key = std::move(key_to);
    EXPECT_EQ(to_hex(key_to.bytes()), std::string(64, '0'));
    EXPECT_EQ(to_hex(key.bytes()), d_hex);

    Sm3 stream;
    stream.update(bytes_of("ab"));
    Sm3 stream_to(std::move(stream));
    EXPECT_EQ(Sm3(stream).finish(), Sm3::hash({}));
    stream.update(pattern(70));
    stream = std::move(stream_to);
    EXPECT_EQ(stream_to.finish(), Sm3::hash({}));
    EXPECT_EQ(stream.update(bytes_of("c")).finish(), Sm3::hash(bytes_of("abc")));

    Sm4 cipher(sample_key);
    Sm4 cipher_to(std::move(cipher));
    std::array<unsigned char, 16> single = sample_key;
    EXPECT_REFUSED(cipher.ecb_encrypt(single, single));
    cipher = std::move(cipher_to);
    EXPECT_REFUSED(cipher_to.cbc_encrypt_padded(sample_iv, single));
    cipher.ecb_encrypt(single, single);
    EXPECT_EQ(to_hex(single), "681edf34d206965e86b3e94f536e4246");

    const Ciphertext nothing = Ciphertext::from_record(Bytes(100));
    Ciphertext sealed = Ciphertext::from_record(from_hex(known_ciphertexts[0].record));
    Ciphertext sealed_to(std::move(sealed));
    EXPECT_EQ(sealed, nothing);
    EXPECT_EQ(sealed.raw(), nothing.raw());
    EXPECT_EQ(sealed.message_size(), 0U);
    EXPECT_EQ(sealed.record().cipher_len, 0U);
    EXPECT_REFUSED_ALOUD(Curve().decrypt(key, sealed));
    sealed = std::move(sealed_to);
    EXPECT_EQ(sealed_to, nothing);
    EXPECT_EQ(to_hex(Curve().decrypt(key, sealed)), to_hex(bytes_of("encryption standard")));
}
// NOLINTEND(bugprone-use-after-move)

}  // namespace
}  // namespace ulmaro::algrithm
