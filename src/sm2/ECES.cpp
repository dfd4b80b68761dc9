// Public-key encryption in the order C1, C3, C2: GM/T 0003.4 clauses 6.1 (steps A1 to A8) and 7.1 (steps B1 to B7).
//
// Record fields are reached by their offsets: a record may start at any address.
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>

#include "base/declassify.hpp"
#include "base/memory.hpp"
#include "base/wipe.hpp"
#include "bn/bytes.hpp"
#include "ec/multiply.hpp"
#include "ec/scalar_draw.hpp"
#include "sm2/decrypt.hpp"

using ulmaro::declassify;
using ulmaro::Public;
using ulmaro::SecretBytes;
using ulmaro::Wiped;
using namespace ulmaro::ec;

namespace {

constexpr std::size_t hash_bytes = 32;
/// The length of x2 || M || y2 fits an int too.
constexpr int max_message = INT_MAX - 64;

struct Record {
    explicit Record(Ulmaro_ECC_CIPHER_BLOB* blob) noexcept : c1(reinterpret_cast<unsigned char*>(blob)) {}

    unsigned char* c1;
    unsigned char* hash = c1 + offsetof(Ulmaro_ECC_CIPHER_BLOB, hash);
    unsigned char* len = c1 + offsetof(Ulmaro_ECC_CIPHER_BLOB, cipher_len);
    unsigned char* cipher = c1 + offsetof(Ulmaro_ECC_CIPHER_BLOB, cipher);
};

/// (x2, y2), as the numbers and as the 64 bytes that the key stream is derived from.
struct Shared {
    AffinePoint point;
    unsigned char bytes[64];

    void key_stream(int len, unsigned char* out) { KDF_ALGRITRHM(bytes, sizeof bytes, len, out); }

    /// SM3(x2 || M || y2)
    void digest(unsigned char* msg, int len, unsigned char* out) {
        Wiped<SM3_CTX> ctx;
        SM3_Init_ex(&*ctx);
        SM3_Update_ex(&*ctx, bytes, 32);
        SM3_Update_ex(&*ctx, msg, len);
        SM3_Update_ex(&*ctx, bytes + 32, 32);
        SM3_Final_ex(&*ctx, out);
    }
};

bool is_all_zero(const unsigned char* p, std::size_t n) noexcept {
    unsigned int any = 0;
    for (std::size_t i = 0; i < n; ++i) any |= p[i];
    return any == 0;
}

bool is_zero_stream(const unsigned char* stream, std::size_t size) noexcept {
    return declassify(is_all_zero(stream, size), Public::key_stream_zero);
}

bool equal(const unsigned char* a, const unsigned char* b, std::size_t n) noexcept {
    unsigned int any = 0;
    for (std::size_t i = 0; i < n; ++i) any |= static_cast<unsigned int>(a[i] ^ b[i]);
    return any == 0;
}

void xor_into(unsigned char* p, const unsigned char* q, std::size_t n) noexcept {
    for (std::size_t i = 0; i < n; ++i) p[i] = static_cast<unsigned char>(p[i] ^ q[i]);
}

/// Draws k, writes C1 and the key stream; false when the draws run out.
bool agree(ec_group_st& grp, AffinePoint& pub, AffinePoint& c1, Shared& shared, int len, unsigned char* stream) {
    Wiped<bignum_st> k;
    ScalarDraws draws(grp);
    while (draws.next(*k)) {
        multiply_base_and_point(grp, pub, *k, c1, shared.point);
        const bool zero = BN_is_zero(shared.point.x.words, static_cast<unsigned int>(grp.prime_top)) != 0;
        if (declassify(zero, Public::shared_point_zero)) continue;
        store_point(shared.bytes, shared.point);
        shared.key_stream(len, stream);
        if (len == 0 || !is_zero_stream(stream, static_cast<std::size_t>(len))) return true;
    }
    return false;
}

constexpr const char* zero_point = "BN_is_zero failed!\n";
constexpr const char* zero_stream = "sum_t==0\n";
constexpr const char* wrong_hash = "char_equal!=0\n";

}  // namespace

int ECES_Encryption(ec_group_st* grp, unsigned char* msg, int msgLen, ECC_PUBLIC_KEY* pubKey,
                    Ulmaro_ECC_CIPHER_BLOB* blob) {
    if (blob == nullptr) return 0;
    const std::size_t size = ulmaro::checked_length(msgLen);
    if (msgLen > max_message) throw std::bad_array_new_length();
    const Record record(blob);
    std::memcpy(record.len, &msgLen, sizeof msgLen);

    // The key stream is made in place, unless the message is still there.
    std::optional<SecretBytes> apart;
    if (ulmaro::overlap(msg, size, record.cipher, size)) apart.emplace(size);
    unsigned char* const stream = apart ? apart->data() : record.cipher;

    AffinePoint pub = load_point(reinterpret_cast<unsigned char*>(pubKey));
    AffinePoint c1;
    Wiped<Shared> shared;
    if (!agree(*grp, pub, c1, *shared, msgLen, stream)) {
        std::memset(record.c1, 0, offsetof(Ulmaro_ECC_CIPHER_BLOB, cipher_len));
        std::memset(record.cipher, 0, size);
        return 0;
    }
    unsigned char hash[hash_bytes];
    shared->digest(msg, msgLen, hash);
    xor_into(stream, msg, size);
    if (apart) std::memcpy(record.cipher, stream, size);
    std::memcpy(record.hash, hash, sizeof hash);
    store_point(record.c1, c1);
    return 0;
}

const char* ulmaro::sm2::decrypt(ec_group_st* grp, Ulmaro_ECC_CIPHER_BLOB* blob, ECC_PRIVATE_KEY* priKey,
                                 unsigned char* plain) {
    const Record record(blob);
    std::uint32_t claimed;
    std::memcpy(&claimed, record.len, sizeof claimed);
    if (claimed > static_cast<std::uint32_t>(max_message)) return zero_stream;
    const std::size_t size = claimed;
    const int len = static_cast<int>(claimed);

    // B1: the private key never meets a point of another curve.
    AffinePoint c1 = load_point(record.c1);
    if (is_all_zero(record.c1, 64)) return zero_point;
    if (!is_usable(*grp) || !is_on_curve(*grp, c1)) return len == 0 ? zero_stream : wrong_hash;

    // Before there are secrets: a process binds the allocation at its first call, which stores all vector registers.
    SecretBytes text(size);

    // B3
    Wiped<bignum_st> d;
    Wiped<Shared> shared;
    ulmaro::bn::from_be32(*d, priKey->d);
    multiply_point(*grp, c1, *d, shared->point);
    const bool zero = (BN_is_zero(shared->point.x.words, 8) | BN_is_zero(shared->point.y.words, 8)) != 0;
    if (declassify(zero, Public::shared_point_zero)) return zero_point;
    store_point(shared->bytes, shared->point);

    // B4, B5
    shared->key_stream(len, text.data());
    if (is_zero_stream(text.data(), size)) return zero_stream;
    xor_into(text.data(), record.cipher, size);

    // B6. The record is compared before the message is written, which may be over it.
    unsigned char hash[hash_bytes];
    shared->digest(text.data(), len, hash);
    const bool authentic = declassify(equal(hash, record.hash, sizeof hash), Public::authentic);
    std::memcpy(plain, text.data(), size);
    return authentic ? nullptr : wrong_hash;
}

int ECES_Decryption(ec_group_st* grp, Ulmaro_ECC_CIPHER_BLOB* blob, ECC_PRIVATE_KEY* priKey, unsigned char* plain) {
    const char* const refusal = ulmaro::sm2::decrypt(grp, blob, priKey, plain);
    if (refusal == nullptr) return 1;
    std::fputs(refusal, stdout);
    return 0;
}
