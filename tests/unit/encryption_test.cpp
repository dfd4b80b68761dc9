// Encryption and decryption: the standard's examples, every draw that is rejected, overlapping and unaligned buffers,
// records that must be refused, and what is printed.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "UlmaroAlgrithm.h"
#include "support/curves.hpp"
#include "support/guarded.hpp"
#include "support/printed.hpp"
#include "support/refusal.hpp"
#include "support/replaced_random.hpp"

namespace ulmaro::test {
namespace {

constexpr std::size_t kHeader = sizeof(Ulmaro_ECC_CIPHER_BLOB);
constexpr const char* kKey = "3945208f7b2144b13f36e38ac6d39f95889393692860b51a42fb81ef4df7c5b8";
constexpr const char* kPub =
    "09f9df311e5421a150dd7d161e4bc5c672179fad1833fc076bb08ff356f35020"
    "ccea490ce26775a52dc6ea718cc1aa600aed05fbf35e084a6632f6072da9ad13";
constexpr const char* kK = "59276e27d506861a16680f3ad9c02dccef3cc1fa3cdbe4ce6d54b80deac1bc21";
// The point of the recommended curve with x = 0.
constexpr const char* kZeroX =
    "0000000000000000000000000000000000000000000000000000000000000000"
    "fd4511e81736a60f07e88a83d6cf5a167fae6d1a9c9330e76e232e00f5cdc154";

Ulmaro_ECC_CIPHER_BLOB* blob(void* p) { return static_cast<Ulmaro_ECC_CIPHER_BLOB*>(p); }

void set_length(Bytes& record, unsigned int len) { std::memcpy(record.data() + 96, &len, 4); }

class Encryption : public testing::Test {
protected:
    Encryption() : grp(prepare(kRecommended)) { reset_random(); }

    Bytes encrypt(const Bytes& msg, std::string_view pub = kPub) {
        Guarded<unsigned char> out(kHeader + msg.size());
        const auto key = record<ECC_PUBLIC_KEY>(pub);
        EXPECT_EQ(printed_by([&] {
                      EXPECT_EQ(
                          SM2_ECES_Encryption(&grp, msg.data(), static_cast<int>(msg.size()), &key, blob(out.data())),
                          0);
                  }),
                  "");
        EXPECT_TRUE(out.intact());
        return {out.span().begin(), out.span().end()};
    }

    /// The verdict, what was printed, and what plain holds, as one text.
    std::string decrypt(const Bytes& record_bytes, std::string_view d = kKey, std::size_t room = 64) {
        const auto key = record<ECC_PRIVATE_KEY>(d);
        Bytes from = record_bytes, plain(room, 0xc5);
        int verdict = -1;
        const std::string text =
            printed_by([&] { verdict = SM2_ECES_Decryption(&grp, blob(from.data()), &key, plain.data()); });
        EXPECT_EQ(from, record_bytes) << "the record changed";
        while (!plain.empty() && plain.back() == 0xc5) plain.pop_back();
        return std::to_string(verdict) + " " + text + std::string(plain.begin(), plain.end());
    }

    ec_group_st grp;
    const Bytes message = {'e', 'n', 'c', 'r', 'y', 'p', 't', 'i', 'o', 'n',
                           ' ', 's', 't', 'a', 'n', 'd', 'a', 'r', 'd'};
};

TEST_F(Encryption, ReproducesTheExamplesOfTheStandard) {
    struct {
        Curve curve;
        const char *d, *k, *record;
    } const examples[] = {
        {kRecommended, kKey, kK,
         "04ebfc718e8d1798620432268e77feb6415e2ede0e073c0f4f640ecd2e149a73"
         "e858f9d81e5430a57b36daab8f950a3c64e6ee6a63094d99283aff767e124df0"
         "59983c18f809e262923c53aec295d30383b54e39d609d160afcb1908d0bd8766"
         "1300000021886ca989ca9c7d58087307ca93092d651efa"},
        {kExample, "1649ab77a00637bd5e2efe283fbf353534aa7f7cb89463f208ddbc2920bb0da0",
         "4c62eefd6ecfc2b95b92fd6c3d9575148afa17425546d49018e5388d49dd7b4f",
         "245c26fb68b1ddddb12c4b6bf9f2b6d5fe60a383b0d18d1c4144abf17f6252e7"
         "76cb9264c2a7e88e52b19903fdc47378f605e36811f5c07423a24b84400f01b8"
         "9c3d7360c30156fab7c80a0276712da9d8094a634b766d3a285e07480653426d"
         "13000000650053a89b41c418b0c3aad00d886c00286467"},
    };
    for (const auto& x : examples) {
        grp = prepare(x.curve);
        ECC_PUBLIC_KEY pub;
        ECC_PRIVATE_KEY key;
        reset_random().next_scalar(x.d);
        SM2_ECC_GenerateKeyPair(&grp, &pub, &key);
        ReplacedRandom& random = reset_random();
        random.next_scalar(x.k);
        const Bytes record_bytes = encrypt(message, to_hex(object_bytes(pub)));
        EXPECT_EQ(to_hex(record_bytes), x.record);
        EXPECT_EQ(random.calls, 32);
        EXPECT_EQ(decrypt(record_bytes, x.d), "1 encryption standard");
    }
}

TEST_F(Encryption, RoundTripsAroundTheHashBlock) {
    for (const std::size_t size : {1U, 31U, 32U, 33U, 63U, 64U, 65U, 200U, 4097U}) {
        const Bytes msg = pattern(size);
        const auto key = record<ECC_PRIVATE_KEY>(kKey);
        Bytes from = encrypt(msg);
        Guarded<unsigned char> plain(size);
        EXPECT_EQ(SM2_ECES_Decryption(&grp, blob(from.data()), &key, plain.data()), 1);
        EXPECT_EQ(Bytes(plain.span().begin(), plain.span().end()), msg);
        EXPECT_TRUE(plain.intact());
    }
}

TEST_F(Encryption, OfAnEmptyMessageNeverDecrypts) {
    const Bytes record_bytes = encrypt({});
    EXPECT_EQ(record_bytes.size(), kHeader);
    EXPECT_EQ(to_hex(Bytes(record_bytes.begin() + 96, record_bytes.end())), "00000000");
    EXPECT_EQ(decrypt(record_bytes), "0 sum_t==0\n");
}

TEST_F(Encryption, RefusesLengthsBeforeAnythingIsWritten) {
    const auto key = record<ECC_PUBLIC_KEY>(kPub);
    for (const int len : {-1, INT_MIN, INT_MAX, INT_MAX - 63}) {
        Guarded<unsigned char> out(kHeader);
        EXPECT_EQ(outcome_of([&] { SM2_ECES_Encryption(&grp, message.data(), len, &key, blob(out.data())); }),
                  Outcome::bad_array_new_length);
        EXPECT_TRUE(out.untouched());
    }
    EXPECT_EQ(replaced_random().calls, 0);
    EXPECT_EQ(
        SM2_ECES_Encryption(untouchable<ec_group_st>(), untouchable(), -1, untouchable<ECC_PUBLIC_KEY>(), nullptr), 0);
}

TEST_F(Encryption, DrawsAgainForAZeroKeyStreamAndAZeroX) {
    ReplacedRandom& random = reset_random();
    // [470]P gives a key stream that begins with one zero byte.
    const std::string k = std::string(61, '0') + "1d6", one = std::string(63, '0') + "1";
    random.next_scalar(k);
    random.next_scalar(kK);
    const Bytes one_byte = encrypt({'m'});
    EXPECT_EQ(random.calls, 64);
    EXPECT_EQ(decrypt(one_byte), "1 m");

    random = {};
    random.next_scalar(k);
    EXPECT_EQ(decrypt(encrypt({'m', 'n'})), "1 mn");
    EXPECT_EQ(random.calls, 32);

    random = {};
    random.next_scalar(one);
    random.next_scalar(kK);
    encrypt(message, kZeroX);
    EXPECT_EQ(random.calls, 64);
}

TEST_F(Encryption, GivesUpForKeysAndGroupsThatAllowNone) {
    Bytes refused(kHeader + message.size());
    set_length(refused, 19);
    EXPECT_EQ(encrypt(message, std::string(128, '0')), refused) << "a point of order 2";
    EXPECT_EQ(replaced_random().calls, 256 * 32);
    for (const char* what : {"even p", "order below 2^224", "never prepared"}) {
        ECCParameter_st param = parameters(kRecommended);
        if (what[0] == 'e') param.p[31] = 0xfe;
        if (what[0] == 'o') std::memset(param.n, 0, 4);
        grp = prepare(kRecommended);
        const Bytes good = encrypt(message);
        grp = what[0] == 'n' ? ec_group_st{} : prepare(param);
        EXPECT_EQ(encrypt(message), refused) << what;
        EXPECT_EQ(decrypt(good), "0 char_equal!=0\n") << what;
    }
}

TEST_F(Encryption, TakesTheMessageFromTheRecordItself) {
    replaced_random().next_scalar(kK);
    const Bytes expected = encrypt(message);
    const auto key = record<ECC_PUBLIC_KEY>(kPub);
    // From the C1 field to behind the cipher field; the length field is written first, so the message avoids it.
    for (const std::size_t at : {0U, 64U, 100U, 95U - 18U, 101U, 110U, 118U}) {
        for (const std::size_t shift : {0U, 1U, 2U, 3U}) {
            Bytes buffer(kHeader + 64);
            unsigned char* start = buffer.data() + shift;
            std::memcpy(start + at, message.data(), message.size());
            replaced_random().next_scalar(kK);
            SM2_ECES_Encryption(&grp, start + at, 19, &key, blob(start));
            EXPECT_EQ(to_hex({start, expected.size()}), to_hex(expected)) << at << " shifted " << shift;
        }
    }
}

TEST_F(Encryption, DecryptsOverTheRecordItself) {
    const Bytes from = encrypt(message);
    const auto key = record<ECC_PRIVATE_KEY>(kKey);
    for (std::size_t at = 0; at <= from.size(); ++at) {
        Bytes buffer(from.size() + message.size());
        std::copy(from.begin(), from.end(), buffer.begin());
        EXPECT_EQ(SM2_ECES_Decryption(&grp, blob(buffer.data()), &key, buffer.data() + at), 1) << at;
        EXPECT_EQ(Bytes(&buffer[at], &buffer[at] + message.size()), message) << at;
    }
}

TEST_F(Encryption, DecryptionNamesTheFirstFailure) {
    const Bytes good = encrypt(message);
    const auto altered = [&](std::size_t at) {
        Bytes bytes = good;
        bytes[at] ^= 1;
        return bytes;
    };
    const auto with_c1 = [&](std::string_view xy, Bytes bytes) {
        std::memcpy(bytes.data(), from_hex(xy).data(), 64);
        return bytes;
    };
    Bytes empty = good;
    set_length(empty, 0);
    const std::string zeros(128, '0');

    EXPECT_EQ(decrypt(altered(100)), "0 char_equal!=0\ndncryption standard");
    EXPECT_EQ(decrypt(altered(118)), "0 char_equal!=0\nencryption standare");
    EXPECT_EQ(decrypt(altered(64)), "0 char_equal!=0\nencryption standard");
    EXPECT_EQ(decrypt(altered(95)), "0 char_equal!=0\nencryption standard");
    EXPECT_EQ(decrypt(empty), "0 sum_t==0\n");
    // Off the curve: nothing is decrypted.
    EXPECT_EQ(decrypt(altered(0)), "0 char_equal!=0\n");
    EXPECT_EQ(decrypt(altered(63)), "0 char_equal!=0\n");
    Bytes both = empty;
    both[63] ^= 1;
    EXPECT_EQ(decrypt(both), "0 sum_t==0\n");
    EXPECT_EQ(decrypt(with_c1(zeros, good)), "0 BN_is_zero failed!\n");
    EXPECT_EQ(decrypt(with_c1(zeros, empty)), "0 BN_is_zero failed!\n");
    // Infinity and x2 = 0.
    EXPECT_EQ(decrypt(good, std::string(64, '0')), "0 BN_is_zero failed!\n");
    EXPECT_EQ(decrypt(good, kRecommended.n), "0 BN_is_zero failed!\n");
    EXPECT_EQ(decrypt(with_c1(kZeroX, good), std::string(63, '0') + "1"), "0 BN_is_zero failed!\n");
    // A length that no record can have.
    for (const unsigned int len : {0x7fffffc0U, 0x7fffffffU, 0x80000000U, 0xffffffc0U, 0xffffffffU}) {
        Bytes bytes = good;
        set_length(bytes, len);
        EXPECT_EQ(decrypt(bytes), "0 sum_t==0\n") << len;
    }
    // [470]P again: a one-byte record with a zero key stream.
    replaced_random().next_scalar(std::string(61, '0') + "1d6");
    Bytes one_byte = encrypt({'m', 'n'});
    set_length(one_byte, 1);
    EXPECT_EQ(decrypt(one_byte), "0 sum_t==0\n");
}

TEST_F(Encryption, DecryptionReducesTheCoordinatesOfC1) {
    // With k = 1 the point C1 is G, and Gx + p still fits 256 bits on this curve.
    grp = prepare(kExample);
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
    SM2_ECC_GenerateKeyPair(&grp, &pub, &key);
    replaced_random().next_scalar(std::string(63, '0') + "1");
    Bytes from = encrypt(message, to_hex(object_bytes(pub)));
    ASSERT_EQ(to_hex({from.data(), 32}), kExample.Gx);
    const Bytes p = from_hex(kExample.p);
    int carry = 0;
    for (std::size_t i = 32; i-- > 0;) {
        carry += from[i] + p[i];
        from[i] = static_cast<unsigned char>(carry);
        carry >>= 8;
    }
    ASSERT_EQ(carry, 0);
    EXPECT_EQ(decrypt(from, to_hex(key.d)), "1 encryption standard");
}

}  // namespace
}  // namespace ulmaro::test
