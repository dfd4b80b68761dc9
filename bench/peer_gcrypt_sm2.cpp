// libgcrypt's SM2. It verifies and decrypts what the library made.
#include <gcrypt.h>

#include <cstring>
#include <vector>

#include "cases.hpp"
#include "peer.hpp"
#include "sm2_material.hpp"

namespace bench {
namespace {

constexpr const char* peer = "gcrypt";
constexpr std::size_t longest = 60000;  // of a message: the length is kept in 16 bits

void require(gcry_error_t error) { ensure(error == 0, peer); }

template <class... Arguments>
gcry_sexp_t expression(const char* format, Arguments... arguments) {
    gcry_sexp_t built = nullptr;
    require(gcry_sexp_build(&built, nullptr, format, arguments...));
    return built;
}

/// What the last work made.
gcry_sexp_t made = nullptr;

void hold(gcry_sexp_t next) {
    gcry_sexp_release(made);
    made = next;
}

// Messages and ciphertexts are numbers to libgcrypt: it may put a zero byte before one, and drops leading ones. It then
// cannot decrypt a ciphertext that begins with zero.

/// The message is input(size), which does not begin with zero.
bool is_message(gcry_sexp_t value, std::size_t size) {
    std::size_t length = 0;
    const char* bytes = gcry_sexp_nth_data(value, 1, &length);
    if (bytes == nullptr) return false;
    if (length == size + 1 && bytes[0] == 0) ++bytes, --length;
    return length == size && std::memcmp(bytes, input(size), size) == 0;
}

gcry_sexp_t record_of_library(const Sm2Material& m, std::size_t size) {
    std::vector<unsigned char> bytes(sizeof(Ulmaro_ECC_CIPHER_BLOB) + size);
    auto* const record = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(bytes.data());
    do SM2_ECES_Encryption(&m.group, input(size), static_cast<int>(size), &m.public_key, record);
    while (record->cipher[0] == 0);
    unsigned char point[65] = {4};
    std::memcpy(point + 1, record, 64);
    return expression("(enc-val (flags sm2) (sm2 (a %b) (b %b) (c %b)))", 65, point, 32, record->hash,
                      static_cast<int>(size), record->cipher);
}

const bool registered = [] {
    ensure(gcry_check_version(nullptr) != nullptr, peer);
    require(gcry_control(GCRYCTL_DISABLE_SECMEM, 0));
    require(gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0));
    const Sm2Material& m = sm2_material();
    unsigned char point[65] = {4};
    std::memcpy(point + 1, &m.public_key, 64);
    const gcry_sexp_t open_key = expression("(public-key (ecc (curve sm2p256v1) (q %b)))", 65, point);
    const gcry_sexp_t key =
        expression("(private-key (ecc (curve sm2p256v1) (q %b) (d %b)))", 65, point, 32, m.private_key.d);
    const gcry_sexp_t digest = expression("(data (flags sm2) (hash sm3 %b))", 32, m.digest);
    const gcry_sexp_t signature = expression("(sig-val (sm2 (r %b) (s %b)))", 32, m.signature.r, 32, m.signature.s);
    const gcry_sexp_t fresh = expression("(genkey (ecc (curve sm2p256v1)))");

    for (const char* operation : {"sm2-key-pair", "sm2-public-key", "sm2-custom-key-pair"})
        add(
            operation, 0, peer,
            [=] {
                gcry_sexp_t pair = nullptr;
                require(gcry_pk_genkey(&pair, fresh));
                hold(pair);
            },
            [] { return gcry_pk_testkey(gcry_sexp_find_token(made, "private-key", 0)) == 0; });
    static gcry_error_t verdict = 0;
    for (const char* prefix : {"sm2", "sm2-custom"}) {
        add(
            std::string(prefix) + "-sign", 0, peer,
            [=] {
                gcry_sexp_t next = nullptr;
                require(gcry_pk_sign(&next, digest, key));
                hold(next);
            },
            [=] { return gcry_pk_verify(made, digest, open_key) == 0; });
        add(
            std::string(prefix) + "-verify", 0, peer, [=] { verdict = gcry_pk_verify(signature, digest, open_key); },
            [] { return verdict == 0; });
    }
    for (const std::size_t size : message_sizes) {
        if (size > longest) break;
        const gcry_sexp_t message =
            expression("(data (flags sm2) (hash-algo sm3) (value %b))", static_cast<int>(size), input(size));
        const gcry_sexp_t record = record_of_library(m, size);
        const auto encrypt = [=] {
            gcry_sexp_t next = nullptr;
            require(gcry_pk_encrypt(&next, message, open_key));
            hold(next);
        };
        add("sm2-encrypt", size, peer, encrypt, [=] {
            gcry_sexp_t opened = nullptr;
            for (int tries = 3; tries > 0 && gcry_pk_decrypt(&opened, made, key) != 0; --tries) encrypt();
            return is_message(opened, size);
        });
        add(
            "sm2-decrypt", size, peer,
            [=] {
                gcry_sexp_t next = nullptr;
                require(gcry_pk_decrypt(&next, record, key));
                hold(next);
            },
            [=] { return is_message(made, size); });
    }
    return true;
}();

}  // namespace
}  // namespace bench
