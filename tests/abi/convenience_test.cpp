// The C++ header over a shared library: published vectors, agreement with the C entry points, and what it refuses.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

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

template <class Value>
Value value(std::string_view hex) {
    return Value::from(from_hex(hex));
}

PrivateKey private_key(std::string_view hex) { return PrivateKey(View(from_hex(hex)).first<32>()); }

const auto sample_key = record<Sm4::Iv>("0123456789abcdeffedcba9876543210"),
           sample_iv = record<Sm4::Iv>("3c59270ea144d8906bf31d72c5880ae6");

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
/// The keys of the signatures, d and the public ones.
constexpr const char* d_hex = known_signatures[0].d;
constexpr const char* known_keys[] = {
#include "vectors/sm2_public_keys.inc"
};
const std::string zero_hex(64, '0');
const Bytes text_of_ciphertexts = from_hex("656e6372797074696f6e207374616e64617264");  // encryption standard

TEST(ConvenienceSm3, VectorsStreamsAndKeyDerivation) {
    EXPECT_EQ(to_hex(Sm3::hash(bytes_of("abc")).bytes()),
              "66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0");
    const Bytes message = pattern(detail::piece + 200);
    std::array<unsigned char, 32> digest;
    SM3_HASH(message.data(), static_cast<int>(message.size()), digest.data());
    EXPECT_EQ(Sm3::hash(message), Digest(digest)) << "of more than one piece";
    Sm3 stream;
    stream.update(View(message).first(70));
    Sm3 fork = stream;
    EXPECT_EQ(stream.update(View(message).subspan(70)).finish(), Sm3::hash(message));
    EXPECT_EQ(fork.finish(), Sm3::hash(View(message).first(70)));
    EXPECT_EQ(stream.update(bytes_of("abc")).finish(), Sm3::hash(bytes_of("abc"))) << "finished streams are empty";

    const View secret = View(message).first(200);
    Bytes counted(secret.begin(), secret.end()), expected(77);
    counted.insert(counted.end(), {0, 0, 0, 1});
    EXPECT_EQ(to_hex(derive_key<32>(secret)), to_hex(Sm3::hash(counted).bytes()));
    EXPECT_EQ(to_hex(derive_key<32>({})), to_hex(Sm3::hash(View(counted).last(4)).bytes()));
    SM2_KDF_ALGRITRHM(secret.data(), 200, 77, expected.data());
    EXPECT_EQ(to_hex(derive_key<77>(secret)), to_hex(expected));
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

TEST(ConvenienceSm2, StandardExamples) {
    for (const auto& v : known_signatures) {
        const Curve curve(parameters(known_curves[v.curve]));
        const auto key = value<PublicKey>(known_keys[v.curve]);
        const auto signature = value<Signature>(v.signature);
        const char* const user = v.curve == 0 ? "1234567812345678" : "ALICE123@YAHOO.COM";
        EXPECT_TRUE(curve.verify(key, bytes_of("message digest"), signature, user));
        EXPECT_TRUE(curve.verify_digest(key, value<Digest>(v.e), signature));
        if (v.curve != 0) continue;
        EXPECT_EQ(Curve().public_key(private_key(v.d)), key);
        EXPECT_TRUE(Curve().verify(key, bytes_of("message digest"), signature));
        EXPECT_EQ(to_hex(Curve().identity_digest(key).bytes()),
                  "b2e14c5c79c6df5b85f4fe7ed8db7a262b9da7e07ccb0ea9f4747b8ccda8a4f3");
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
        EXPECT_EQ(Curve(parameters(known_curves[v.curve])).decrypt(private_key(v.d), ciphertext), text_of_ciphertexts);
    }
}

TEST(ConvenienceSm2, RoundTripsOnBothKindsOfCurve) {
    const Curve recommended, other(parameters(example_curve));
    const Bytes message = pattern(1000);
    for (const Curve* curve : {&recommended, &other}) {
        const KeyPair pair = curve->generate();
        const Signature signature = curve->sign(pair, message);
        EXPECT_TRUE(curve->verify(pair.public_key, message, signature));
        const Digest e = curve->message_stream(pair.public_key).update(message).finish();
        EXPECT_TRUE(curve->verify_digest(pair.public_key, e, signature));
        EXPECT_TRUE(curve->verify_digest(pair.public_key, e, curve->sign_digest(pair.private_key, e)));
        const Signature named = curve->sign(pair, message, "another");
        EXPECT_TRUE(curve->verify(pair.public_key, message, named, "another"));
        EXPECT_EQ(printed_by([&] { EXPECT_FALSE(curve->verify(pair.public_key, message, named)); }).substr(0, 14),
                  "cmp different!");
        const Ciphertext sealed = curve->encrypt(pair.public_key, message);
        EXPECT_EQ(curve->decrypt(pair.private_key, sealed), message);
        Bytes opened(message.size());
        curve->decrypt(pair.private_key, Ciphertext::from_parts(sealed.c1(), sealed.c3(), sealed.c2()), opened);
        EXPECT_EQ(opened, message);
        EXPECT_EQ(curve == &recommended, recommended.contains(pair.public_key));
        EXPECT_EQ(curve == &other, other.contains(pair.public_key));
    }
    EXPECT_REFUSED(other.public_key(private_key(d_hex)));
}

TEST(ConvenienceSm2, Refusals) {
    const Curve curve;
    const KeyPair pair = curve.generate();
    const Digest e;
    EXPECT_REFUSED(curve.sign_digest(private_key(zero_hex), e));
    EXPECT_REFUSED(
        curve.sign_digest(private_key("fffffffeffffffffffffffffffffffff7203df6b21c6052b53bbf40939d54122"), e));
    EXPECT_REFUSED(curve.public_key(private_key(recommended_curve.n)));
    ECCParameter_st rebased = parameters(recommended_curve);
    std::copy_n(pair.public_key.bytes().begin(), 32, rebased.Gx);
    std::copy_n(pair.public_key.bytes().begin() + 32, 32, rebased.Gy);
    EXPECT_REFUSED(Curve(rebased).public_key(private_key(d_hex)));
    EXPECT_REFUSED(curve.encrypt(pair.public_key, {}));
    EXPECT_REFUSED(curve.encrypt(PublicKey(), bytes_of("m")));
    EXPECT_REFUSED(curve.identity_digest(pair.public_key, std::string(8192, 'x')));
    EXPECT_EQ(to_hex(curve.identity_digest(value<PublicKey>(known_keys[0]), std::string(8191, 'x')).bytes()),
              "b87725fabdf2bc059b7dec72b53253c44c4b2b4fa94b0d415f2287b12dc00467");
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
    for (const std::size_t at : {0U, 64U, 100U}) {
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
    EXPECT_REFUSED_ALOUD(curve.decrypt(pair.private_key, Ciphertext::from_record(Bytes(100))));
    Bytes longer(good.bytes().begin(), good.bytes().end()), raw = good.raw();
    longer.push_back(0);
    EXPECT_REFUSED(Ciphertext::from_record(longer));
    EXPECT_REFUSED(Ciphertext::from_record(View(longer).first(longer.size() - 2)));
    EXPECT_REFUSED(Ciphertext::from_record(View(longer).first(99)));
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
    const std::string p = "ffffffff00000001000000000000000000000000ffffffffffffffffffffffff",
                      p_and_5 = "ffffffff00000001000000000000000000000001000000000000000000000004",
                      y_of_0 = "66485c780e2f83d72433bd5d84a06bb6541c2af31dae871728bf856a174f93f4",
                      x_of_5 = "d7325d7646cd60d80a92738ceb345f844cffaf35841022cab176f692de8de1d7";
    const std::string points[][3] = {{zero_hex, y_of_0, p + y_of_0},
                                     {x_of_5, zero_hex.substr(1) + '5', x_of_5 + p_and_5}};
    const PrivateKey one = private_key(zero_hex.substr(1) + '1');
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

// In two parts, also of more than one piece.
TEST(ConvenienceSm4, ModesAgreeWithTheEntryPointsAndStreamsGoOn) {
    const Sm4 cipher(sample_key);
    unsigned schedule[ULMARO_SM4_SCHEDULE_WORDS];
    SM4_KEY_INIT(sample_key.data(), 16, schedule, ULMARO_SM4_SCHEDULE_WORDS);
    for (const auto& [size, step] :
         {std::pair<std::size_t, std::size_t>{160, 16}, {detail::piece + 48, detail::piece + 32}}) {
        const Bytes message = pattern(size);
        Bytes cbc(size), ecb(size);
        const int length = static_cast<int>(size);
        SM4_X_CBC_EN_MODE_EX(message.data(), length, sample_key.data(), sample_iv.data(), cbc.data());
        SM4_X_ECB_EN_MODE(message.data(), length, schedule, ecb.data());
        for (std::size_t cut = 0; cut <= size; cut += step) {
            Bytes text = message;
            const std::span first = std::span(text).first(cut), second = std::span(text).subspan(cut);
            const auto chain_after = [&](auto mode) {
                Sm4::Iv chain = sample_iv;
                (cipher.*mode)(chain, first, first);
                (cipher.*mode)(chain, second, second);
                return Bytes(chain.begin(), chain.end());
            };
            const Bytes last(cbc.end() - 16, cbc.end());
            EXPECT_EQ(chain_after(&Sm4::cbc_encrypt), last);
            EXPECT_TRUE(text == cbc) << cut;
            EXPECT_EQ(chain_after(&Sm4::cbc_decrypt), last);
            EXPECT_TRUE(text == message) << cut;
        }
        Bytes text = message;
        cipher.ecb_encrypt(text, text);
        EXPECT_TRUE(text == ecb);
        cipher.ecb_decrypt(text, text);
        EXPECT_TRUE(text == message);
    }
    Bytes in(160), out(17);
    Sm4::Iv chain = sample_iv;
    EXPECT_REFUSED(cipher.cbc_encrypt(chain, in, out));
    EXPECT_REFUSED(cipher.cbc_decrypt(chain, out, out));
    EXPECT_REFUSED(cipher.ecb_encrypt(out, out));
    EXPECT_REFUSED(cipher.ecb_encrypt(View(out).first(0), std::span(out).first(16)));
    EXPECT_EQ(chain, sample_iv);
}

TEST(ConvenienceSm4, PaddingIsPutOnAndOnlyTheRightOneTakenOff) {
    const Sm4 cipher(sample_key);
    for (std::size_t size = 0; size <= 48; ++size) {
        const Bytes message = pattern(size);
        Bytes expected = message;
        expected.resize(size / 16 * 16 + 16, static_cast<unsigned char>(16 - size % 16));
        Sm4::Iv chain = sample_iv;
        cipher.cbc_encrypt(chain, expected, expected);
        EXPECT_EQ(cipher.cbc_encrypt_padded(sample_iv, message), expected);
        EXPECT_EQ(cipher.cbc_decrypt_padded(sample_iv, expected), message);
        EXPECT_REFUSED(cipher.cbc_decrypt_padded(sample_iv, View(expected).subspan(1)));
    }
    EXPECT_REFUSED(cipher.cbc_decrypt_padded(sample_iv, {}));

    // Every last byte, over padding that is right for it (as far as there can be one), and with each byte wrong.
    for (unsigned last = 0; last < 256; ++last) {
        for (unsigned wrong = 0; wrong <= 16; ++wrong) {  // 16: none
            const unsigned start = 16 - std::min(last, 16U);
            Bytes two(32, 0xa5);
            std::fill(two.begin() + 16 + std::min(start, 15U), two.end(), static_cast<unsigned char>(last));
            if (wrong < 15) two[16 + wrong] ^= 0x40;
            const bool valid = last >= 1 && last <= 16 && (wrong >= 15 || wrong < start);
            const Bytes plain(two.begin(), two.end() - (valid ? last : 0));
            Sm4::Iv chain = sample_iv;
            cipher.cbc_encrypt(chain, two, two);
            if (valid)
                EXPECT_EQ(cipher.cbc_decrypt_padded(sample_iv, two), plain);
            else
                EXPECT_REFUSED(cipher.cbc_decrypt_padded(sample_iv, two)) << last << ' ' << wrong;
        }
    }
}

struct {
    const char *key, *message, *tag;
    bool valid;
} constexpr known_tags[] = {
#include "vectors/hmac_sm3.inc"
};

TEST(ConvenienceHmac, PublishedTags) {
    for (const auto& known : known_tags) {
        HmacSm3 mac(from_hex(known.key));
        EXPECT_EQ(mac.update(from_hex(known.message)).verify(from_hex(known.tag)), known.valid) << known.tag;
    }
    for (const std::size_t size : {0U, 15U, 33U}) EXPECT_REFUSED(HmacSm3("key").verify(pattern(size))) << size;
}

TEST(ConvenienceHmac, AgreesWithOpenssl) {
    for (const std::size_t size : {1U, 55U, 63U, 64U, 65U, 128U, 1000U}) {
        const Bytes key = random_looking(size, 1), message = random_looking(2 * size, 2);
        Bytes tag(32), derived(size), expected(size);
        HMAC(EVP_sm3(), key.data(), static_cast<int>(size), message.data(), message.size(), tag.data(), nullptr);
        HmacSm3 mac(key);
        for (int again = 0; again < 2; ++again) {
            mac.update(View(message).first(size)).update(View(message).subspan(size));
            EXPECT_EQ(to_hex(mac.finish().bytes()), to_hex(tag)) << size << ' ' << again;
        }
        const auto salt = View(message).first(std::min<std::size_t>(16, message.size()));
        PKCS5_PBKDF2_HMAC(reinterpret_cast<const char*>(key.data()), static_cast<int>(size), salt.data(),
                          static_cast<int>(salt.size()), 3, EVP_sm3(), static_cast<int>(size), expected.data());
        derive_key_from_passphrase(key, salt, 3, derived);
        EXPECT_EQ(to_hex(derived), to_hex(expected)) << size;
    }
    EXPECT_REFUSED(derive_key_from_passphrase("passphrase", "salt", 0, {}));
}

TEST(ConvenienceSm4, CounterModeAgreesWithOpenssl) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> peer(EVP_CIPHER_CTX_new(),
                                                                               EVP_CIPHER_CTX_free);
    const Sm4 key(sample_key);
    for (const char* first :
         {"00112233445566778899aabbccddeeff", "0000000000000000fffffffffffffffe", "ffffffffffffffffffffffffffffff80"}) {
        for (const std::size_t size : {0U, 1U, 16U, 31U, 4096U, 4097U, 20000U}) {
            const Bytes message = random_looking(size, size);
            Bytes expected(size), whole(size), pieces = message;
            int n = 0;
            EVP_EncryptInit_ex(peer.get(), EVP_sm4_ctr(), nullptr, sample_key.data(), from_hex(first).data());
            EVP_EncryptUpdate(peer.get(), expected.data(), &n, message.data(), static_cast<int>(size));
            Sm4::Iv counter = record<Sm4::Iv>(first), other = counter;
            key.ctr(counter, message, whole);
            for (std::size_t at = 0; at < size; at += 48) {
                const auto piece = std::span(pieces).subspan(at, std::min<std::size_t>(48, size - at));
                key.ctr(other, piece, piece);
            }
            EXPECT_EQ(whole, expected) << first << ' ' << size;
            EXPECT_EQ(pieces, expected) << first << ' ' << size;
            EXPECT_EQ(counter, other);
        }
    }
    Bytes two(2), three(3);
    Sm4::Iv counter{};
    EXPECT_REFUSED(key.ctr(counter, two, three));
}

TEST(Convenience, ViewsRandomBytesAndCodeWithoutExceptions) {
    const std::array<std::byte, 3> bytes{std::byte{'a'}, std::byte{'b'}, std::byte{'c'}};
    for (const Digest& digest : {Sm3::hash(bytes), Sm3::hash(std::string("abc")), Sm3::hash(from_hex("616263"))})
        EXPECT_EQ(digest, Sm3::hash("abc"));
    EXPECT_NE(random_bytes<32>(), random_bytes<32>());
    EXPECT_TRUE(equal_in_constant_time("abc", "abc"));
    for (const char* other : {"abd", "bbc", "ab", ""}) EXPECT_FALSE(equal_in_constant_time("abc", other)) << other;
    std::string why;
    EXPECT_EQ(attempt([] { return Digest::from(pattern(31)); }, &why), std::nullopt);
    EXPECT_EQ(why, "wrong length of a key, signature or digest");
    EXPECT_EQ(attempt([] { return 7; }), 7);
    EXPECT_TRUE(attempt([] {}));
    EXPECT_FALSE(attempt([] { throw Error("refused"); }));
    for (const bool valid : {false, true}) EXPECT_EQ(attempt([&] { return valid; }) ? 1 : 0, valid ? 1 : 0);
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
    HmacSm3 mac(from_hex(d_hex));
    expect_wiped(mac.update(from_hex(d_hex)));
}

/// By construction and by assignment. NOLINTBEGIN(bugprone-use-after-move): what is left is promised.
template <class Object>
void expect_moves(Object object, auto&& is_whole, auto&& is_empty) {
    Object other(std::move(object));
    is_empty(object);
    object = std::move(other);
    is_empty(other);
    is_whole(object);
}
// NOLINTEND(bugprone-use-after-move)

TEST(Convenience, MovedFrom) {
    expect_moves(
        private_key(d_hex), [](PrivateKey& key) { EXPECT_EQ(to_hex(key.bytes()), d_hex); },
        [](PrivateKey& key) { EXPECT_EQ(to_hex(key.bytes()), zero_hex); });
    Sm3 stream;
    expect_moves(
        stream.update(bytes_of("ab")),
        [](Sm3& whole) { EXPECT_EQ(whole.update(bytes_of("c")).finish(), Sm3::hash(bytes_of("abc"))); },
        [](Sm3& empty) { EXPECT_EQ(Sm3(empty).finish(), Sm3::hash({})); });
    expect_moves(
        HmacSm3("key"), [](HmacSm3& whole) { EXPECT_EQ(whole.finish(), HmacSm3::tag("key", {})); },
        [](HmacSm3& empty) { EXPECT_REFUSED(empty.update("forged").finish()); });
    std::array<unsigned char, 16> block = sample_key;
    expect_moves(
        Sm4(sample_key),
        [&](Sm4& cipher) {
            cipher.ecb_encrypt(block, block);
            EXPECT_EQ(to_hex(block), "681edf34d206965e86b3e94f536e4246");
        },
        [&](Sm4& cipher) {
            EXPECT_REFUSED(cipher.ecb_encrypt(block, block));
            EXPECT_REFUSED(cipher.cbc_encrypt_padded(sample_iv, block));
        });
    const Curve curve;
    const PrivateKey key = private_key(known_ciphertexts[0].d);
    const Ciphertext nothing = Ciphertext::from_record(Bytes(100));
    expect_moves(
        Ciphertext::from_record(from_hex(known_ciphertexts[0].record)),
        [&](Ciphertext& whole) { EXPECT_EQ(curve.decrypt(key, whole), text_of_ciphertexts); },
        [&](Ciphertext& empty) {
            EXPECT_EQ(empty, nothing);
            EXPECT_EQ(empty.raw(), nothing.raw());
            EXPECT_EQ(empty.message_size(), 0U);
            EXPECT_EQ(empty.record().cipher_len, 0U);
            EXPECT_REFUSED_ALOUD(curve.decrypt(key, empty));
        });
}

}  // namespace
}  // namespace ulmaro::algrithm
