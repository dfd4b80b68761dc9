#include "support/sm2.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "support/error.hpp"
#include "support/fd.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t max_identity = 8191;  // its length in bits is kept in 16 bits
constexpr int recommended_curve = 0;

struct Curve {
    ECCParameter_st parameters{};
    ec_group_st group{};

    Curve() {
        SM2_Get_Paramter(&parameters, recommended_curve);
        SM2_ECC_InitParameter(&parameters, &group);
    }
};

const Curve& curve() {
    static const Curve instance;
    return instance;
}

/// Keeps the library's diagnostics off standard output while it lives: the tool reports errors in its own words on
/// standard error, and standard output may be carrying data.
class QuietLibrary {
public:
    QuietLibrary() {
        std::fflush(stdout);
        const Fd null(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        saved_ = Fd(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
        if (null.valid() && saved_.valid()) ::dup2(null.get(), STDOUT_FILENO);
    }
    ~QuietLibrary() {
        std::fflush(stdout);
        if (saved_.valid()) ::dup2(saved_.get(), STDOUT_FILENO);
    }
    QuietLibrary(const QuietLibrary&) = delete;
    QuietLibrary& operator=(const QuietLibrary&) = delete;

private:
    Fd saved_;
};

using U256View = std::span<const unsigned char, 32>;

/// 1 when a < b, else 0, without a branch on the bytes.
unsigned less(U256View a, U256View b) {
    unsigned borrow = 0;
    for (std::size_t i = 32; i-- > 0;) borrow = ((0U + a[i] - b[i] - borrow) >> 8) & 1U;
    return borrow;
}

unsigned is_zero(U256View a) {
    unsigned bits = 0;
    for (const unsigned char b : a) bits |= b;
    return (bits - 1U) >> 31;
}

}  // namespace

bool usable(const ECC_PRIVATE_KEY& key) {
    std::array<unsigned char, 32> top{};
    std::copy_n(curve().parameters.n, top.size(), top.begin());
    --top.back();  // n is odd: nothing is borrowed
    return (less(key.d, top) & (is_zero(key.d) ^ 1U)) != 0;
}

bool usable(const ECC_PUBLIC_KEY& key) {
    const ECCParameter_st& parameters = curve().parameters;
    return less(key.x, parameters.p) != 0 && less(key.y, parameters.p) != 0 &&
           SM2_POINT_is_on_curve(&parameters, &key) == 1;
}

void generate_key_pair(ECC_PRIVATE_KEY& key, ECC_PUBLIC_KEY& point) {
    SM2_ECC_GenerateKeyPair(&curve().group, &point, &key);
    if (!usable(key)) throw Failure("no usable key could be drawn");
}

ECC_PUBLIC_KEY public_key_of(const ECC_PRIVATE_KEY& key) {
    Secret<bignum_st> scalar;
    for (std::size_t i = 0; i < 32; ++i) {
        scalar->words[i / 4] |= static_cast<unsigned>(key.d[31 - i]) << (8 * (i % 4));
    }
    ECC_PUBLIC_KEY point;
    SM2_CalcPubKeyByPriKey(&point, &*scalar);
    return point;
}

Digest identity_digest(const std::optional<std::string>& identity, const ECC_PUBLIC_KEY& point) {
    const ECCParameter_st& parameters = curve().parameters;
    Digest z;
    if (!identity) {
        SM3_algrithm_userid_hash(&point, &parameters, z.data());
        return z;
    }
    if (identity->size() > max_identity) throw Failure("the user identity has more than 8191 bytes");
    const auto bits = static_cast<unsigned>(identity->size() * 8);
    const std::array<unsigned char, 2> length{static_cast<unsigned char>(bits >> 8), static_cast<unsigned char>(bits)};
    Sm3 hash;
    hash.update(length);
    hash.update(std::span(reinterpret_cast<const unsigned char*>(identity->data()), identity->size()));
    hash.update(parameters.a);
    hash.update(parameters.b);
    hash.update(parameters.Gx);
    hash.update(parameters.Gy);
    hash.update(point.x);
    hash.update(point.y);
    return hash.finish().array();
}

Digest message_digest(const Digest& z, Input& message, bool show_progress) {
    Sm3 hash;
    hash.update(z);
    absorb(hash, message, show_progress);
    return hash.finish().array();
}

ECC_SIGNATURE sign(const Digest& e, const ECC_PRIVATE_KEY& key) {
    ECC_SIGNATURE signature;
    SM2_ECDSA_Signature(&curve().group, e.data(), &key, &signature);
    if (is_zero(signature.r) != 0) throw Failure("the key allows no signature");
    return signature;
}

bool verify(const Digest& e, const ECC_PUBLIC_KEY& point, const ECC_SIGNATURE& signature) {
    const QuietLibrary quiet;
    return SM2_ECDSA_Verification(&curve().group, e.data(), &point, &signature) == 1;
}

SecretBuffer encrypt(std::span<const unsigned char> message, const ECC_PUBLIC_KEY& point) {
    SecretBuffer record(record_header_bytes + message.size());
    auto* const blob = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data());
    SM2_ECES_Encryption(&curve().group, message.data(), static_cast<int>(message.size()), &point, blob);
    if (is_zero(blob->x) != 0) throw Failure("the key allows no encryption");
    return record;
}

SecretBuffer decrypt(std::span<const unsigned char> record, const ECC_PRIVATE_KEY& key) {
    SecretBuffer message(record.size() - record_header_bytes);
    const auto* const blob = reinterpret_cast<const Ulmaro_ECC_CIPHER_BLOB*>(record.data());
    const QuietLibrary quiet;
    if (SM2_ECES_Decryption(&curve().group, blob, &key, message.data()) != 1) {
        throw Failure("decryption failed: the key is wrong or the ciphertext is damaged");
    }
    return message;
}

}  // namespace ulmaro::tool
