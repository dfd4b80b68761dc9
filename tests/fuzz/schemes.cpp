// Key pairs, signatures and ciphertexts on the recommended curve, by both engines: what is untouched is accepted, and
// nothing else is. OpenSSL verifies too.
#include <cstring>
#include <limits>

#include "UlmaroAlgrithm.h"
#include "fuzz/general_curve.hpp"
#include "support/curves.hpp"
#include "support/openssl_sm2.hpp"
#include "support/refusal.hpp"
#include "support/replaced_random.hpp"

namespace ulmaro::fuzz {
namespace {

/// groups[1] is the same curve with a flag that reads the same but is another byte: it goes the general way.
struct Both {
    GeneralCurve curve{test::parameters(test::kRecommended)};
    ec_group_st groups[2] = {curve.grp, curve.grp};

    Both() { groups[1].generator.z_is_one = 2; }
};

Both& both() {
    static Both instance;
    return instance;
}

GeneralCurve& curve() { return both().curve; }

struct Pair {
    ECC_PUBLIC_KEY pub{};
    ECC_PRIVATE_KEY priv{};
};

/// Runs call on the special and then on the general group, with the same random scalars from first on.
void on_both(const Bytes& first, auto&& call) {
    for (const ec_group_st& grp : both().groups) {
        test::reset_random().next_scalar(first);
        std::srand(1);
        call(grp);
    }
}

Pair make_pair(Data& data) {
    Pair pairs[2], *next = pairs;
    on_both(be32(take_number(data, curve().n)), [&](const ec_group_st& grp) {
        require(SM2_ECC_GenerateKeyPair(&grp, &next->pub, &next->priv) == 0, "a key pair returns");
        ++next;
    });
    require(std::memcmp(&pairs[0], &pairs[1], sizeof(Pair)) == 0, "both engines make the same key pair");
    const Integer d = from_be(pairs[0].priv.d);
    require(d > 0 && d < curve().n - 1, "a private key is in its range");
    require(test::snapshot(pairs[0].pub) == curve().multiply(d), "the public key is [d]G");
    return pairs[0];
}

/// Numbers side by side, big-endian, 32 bytes each.
class Numbers {
public:
    explicit Numbers(Bytes bytes) : bytes_(std::move(bytes)) {}

    const unsigned char* at(std::size_t i) const { return bytes_.data() + 32 * i; }
    Integer operator[](std::size_t i) const { return from_be({at(i), 32}); }

    void set(std::size_t i, const Integer& value) { std::ranges::copy(be32(value), bytes_.data() + 32 * i); }

    /// One bit, a number around the modulus, the same residue, the negative one, or the number beside it.
    void damage(Data& data) {
        const auto i = data.ConsumeIntegralInRange<std::size_t>(0, bytes_.size() / 32 - 1);
        const Integer& m = data.ConsumeBool() ? curve().n : curve().p;
        const Integer old = (*this)[i];
        switch (data.ConsumeIntegralInRange(0, 4)) {
            case 0:
                bytes_[32 * i + data.ConsumeIntegralInRange<std::size_t>(0, 31)] ^=
                    static_cast<unsigned char>(1U << data.ConsumeIntegralInRange(0, 7));
                break;
            case 1:
                set(i, take_number(data, m));
                break;
            case 2:
                set(i, old >= m ? Integer(old - m) : old + m < power_of_two(256) ? Integer(old + m) : old);
                break;
            case 3:
                set(i, mod(-old, m));
                break;
            default: {
                const std::size_t other = (i + 1) % (bytes_.size() / 32);
                const Integer moved = (*this)[other];
                set(other, old);
                set(i, moved);
            }
        }
    }

private:
    Bytes bytes_;
};

bool same_residue(const Integer& a, const Integer& b, const Integer& m) { return mod(a - b, m) == 0; }

int verify_on_both(const Bytes& e, const ECC_PUBLIC_KEY& pub, const ECC_SIGNATURE& signature) {
    int results[2], *next = results;
    for (const ec_group_st& grp : both().groups) *next++ = SM2_ECDSA_Verification(&grp, e.data(), &pub, &signature);
    require(results[0] == results[1], "both engines verify alike");
    return results[0];
}

void check_signature(Data& data) {
    const Pair pair = make_pair(data);
    const Bytes e = be32(take_number(data, curve().n));
    ECC_SIGNATURE made[2], *next = made;
    on_both(be32(take_number(data, curve().n)), [&](const ec_group_st& grp) {
        require(SM2_ECDSA_Signature(&grp, e.data(), &pair.priv, next++) == 0, "a signature returns");
    });
    require(std::memcmp(&made[0], &made[1], sizeof made[0]) == 0, "both engines make the same signature");
    const ECC_SIGNATURE& signature = made[0];
    require(verify_on_both(e, pair.pub, signature) == 1, "an own signature is valid");

    Bytes claim = e;
    for (const std::span<const unsigned char> part :
         {std::span(pair.pub.x), std::span(pair.pub.y), std::span(signature.r), std::span(signature.s)}) {
        claim.insert(claim.end(), part.begin(), part.end());
    }
    const Numbers whole(claim);
    Numbers damaged = whole;
    for (int times = data.ConsumeIntegralInRange(1, 3); times > 0; --times) damaged.damage(data);
    Bytes digest(damaged.at(0), damaged.at(1));
    ECC_PUBLIC_KEY pub;
    ECC_SIGNATURE other;
    std::memcpy(&pub, damaged.at(1), 64);
    std::memcpy(&other, damaged.at(3), 64);
    // Digests count modulo n and coordinates modulo p.
    const bool valid = same_residue(whole[0], damaged[0], curve().n) && same_residue(whole[1], damaged[1], curve().p) &&
                       same_residue(whole[2], damaged[2], curve().p) && whole[3] == damaged[3] &&
                       whole[4] == damaged[4];
    require(verify_on_both(digest, pub, other) == (valid ? 1 : 0), "valid is what is equal");

    // [s]G + [t]P' = -([s]G + [t]P) has the same x: this key fits too.
    const Integer r = whole[3], s = whole[4], t = mod(r + s, curve().n);
    const Bytes second = curve().multiply(mod(-from_be(pair.priv.d) - 2 * s * inverse(t, curve().n), curve().n));
    std::memcpy(&pub, second.data(), 64);
    require(std::ranges::count(second, 0) == 64 || verify_on_both(e, pub, signature) == 1, "the other key that fits");

    if (!data.ConsumeBool()) return;
    const test::Key key = test::openssl_key(pair.priv, pair.pub);
    require(key != nullptr, "OpenSSL takes the key");
    const test::KeyContext context(EVP_PKEY_CTX_new(key.get(), nullptr));
    require(test::openssl_verifies(context.get(), e, signature), "OpenSSL accepts an own signature");
    require(test::openssl_verifies(context.get(), digest, other) == (verify_on_both(digest, pair.pub, other) == 1),
            "OpenSSL agrees on a damaged one");
}

Ulmaro_ECC_CIPHER_BLOB* blob_of(Bytes& record) { return reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data()); }

constexpr std::size_t kHeader = sizeof(Ulmaro_ECC_CIPHER_BLOB);

Bytes encrypt_on_both(Data& data, const ECC_PUBLIC_KEY& pub, const Bytes& message) {
    Bytes records[2], *next = records;
    const bool in_place = data.ConsumeBool();
    on_both(be32(take_number(data, curve().n)), [&](const ec_group_st& grp) {
        Bytes& record = *next++;
        record.resize(kHeader + message.size(), 0xa5);
        std::ranges::copy(message, record.data() + kHeader);
        const unsigned char* const from = in_place ? record.data() + kHeader : message.data();
        require(SM2_ECES_Encryption(&grp, from, length(message), &pub, blob_of(record)) == 0, "encryption returns");
    });
    require(records[0] == records[1], "both engines make the same record");
    return records[0];
}

int decrypt_on_both(Data& data, const Bytes& record, const ECC_PRIVATE_KEY& priv, Bytes& plain) {
    int results[2], *next = results;
    const std::size_t size = record.size() - kHeader;
    const bool over = data.ConsumeBool();
    const auto offset = data.ConsumeIntegralInRange<std::size_t>(0, kHeader);
    for (const ec_group_st& grp : both().groups) {
        Bytes copy = record, apart(size);
        unsigned char* const to = over ? copy.data() + offset : apart.data();
        *next++ = SM2_ECES_Decryption(&grp, blob_of(copy), &priv, to);
        plain.assign(to, to + size);
    }
    require(results[0] == results[1], "both engines decrypt alike");
    return results[0];
}

void check_ciphertext(Data& data) {
    const Pair pair = make_pair(data);
    const Bytes message = take_message(data, 600);
    const Bytes record = encrypt_on_both(data, pair.pub, message);
    Bytes plain;
    require(decrypt_on_both(data, record, pair.priv, plain) == (message.empty() ? 0 : 1), "an own record is authentic");
    require(message.empty() || plain == message, "the message comes back");

    // Damage; the record ends where its length field says.
    const Numbers whole(Bytes(record.begin(), record.begin() + 96));
    Numbers header = whole;
    for (int times = data.ConsumeIntegralInRange(0, 2); times > 0; --times) header.damage(data);
    if (data.ConsumeIntegralInRange(0, 7) == 0) {
        const Bytes point = curve().multiply(take_number(data, curve().n));
        header.set(0, x_of(point));
        header.set(1, from_be(std::span(point).last(32)));
    }
    Bytes damaged = record;
    std::copy_n(header.at(0), 96, damaged.data());
    if (!message.empty() && data.ConsumeBool()) {
        damaged[kHeader + data.ConsumeIntegralInRange<std::size_t>(0, message.size() - 1)] ^=
            data.ConsumeIntegral<std::uint8_t>();
    }
    if (data.ConsumeBool()) {
        const auto shorter = data.ConsumeIntegralInRange<std::uint32_t>(0, static_cast<std::uint32_t>(message.size()));
        std::memcpy(&damaged[96], &shorter, 4);
        damaged = Bytes(damaged.begin(), damaged.begin() + static_cast<std::ptrdiff_t>(kHeader + shorter));
    }
    const bool authentic = !message.empty() && damaged.size() == record.size() &&
                           same_residue(header[0], whole[0], curve().p) &&
                           same_residue(header[1], whole[1], curve().p) && header[2] == whole[2] &&
                           equal(std::span(damaged).subspan(kHeader), std::span(record).subspan(kHeader));
    require(decrypt_on_both(data, damaged, pair.priv, plain) == (authentic ? 1 : 0), "authentic is what is equal");
    require(!authentic || plain == message, "the message comes back again");
}

/// A public key of any bytes: encryption carries it on, and verification refuses it.
void check_foreign_key(Data& data) {
    ECC_PUBLIC_KEY pub;
    std::ranges::copy(be32(take_number(data, curve().p)), pub.x);
    std::ranges::copy(be32(take_number(data, curve().p)), pub.y);
    const Bytes message = take_message(data, 100);
    encrypt_on_both(data, pub, message);
    const Bytes untouched(kHeader + message.size(), 0xa5);
    Bytes record = untouched;
    const int negative = data.ConsumeIntegralInRange(std::numeric_limits<int>::min(), -1);
    require(test::outcome_of([&] {
                SM2_ECES_Encryption(&both().groups[0], message.data(), negative, &pub, blob_of(record));
            }) == test::Outcome::bad_array_new_length,
            "a negative length is refused");
    require(record == untouched, "a refusal writes nothing");

    ECC_SIGNATURE signature;
    std::ranges::copy(be32(take_number(data, curve().n)), signature.r);
    std::ranges::copy(be32(take_number(data, curve().n)), signature.s);
    const Bytes e = be32(take_number(data, curve().n));
    ECCParameter_st param;
    SM2_Get_Paramter(&param, 0);
    const int verified = verify_on_both(e, pub, signature);
    require(verified == 0 || (verified == 1 && SM2_POINT_is_on_curve(&param, &pub) == 1), "a key off the curve");
}

}  // namespace
}  // namespace ulmaro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    using namespace ulmaro::fuzz;
    Data data(input, size);
    ulmaro::test::reset_random();
    switch (data.ConsumeIntegralInRange(0, 2)) {
        case 0:
            check_signature(data);
            break;
        case 1:
            check_ciphertext(data);
            break;
        default:
            check_foreign_key(data);
    }
    return 0;
}
