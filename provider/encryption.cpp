// SM2 encryption, in the DER of GM/T 0009: SEQUENCE of x and y of C1, C3 and C2.
#include <cstring>

#include "UlmaroAlgrithm.hpp"
#include "base/memory.hpp"
#include "der.hpp"
#include "dispatch.hpp"
#include "key.hpp"
#include "parameters.hpp"
#include "sm2/decrypt.hpp"
#include "tables.hpp"

namespace ulmaro::provider {
namespace {

constexpr std::size_t digest_size = ULMARO_SM3_DIGEST_BYTES;
constexpr std::size_t most_number_bytes = 35;

struct Encryption : Object {
    using Object::Object;
    KeyPair pair;
};

int set_params(Encryption&, const OSSL_PARAM* params) {
    const auto* const digest = find(params, OSSL_ASYM_CIPHER_PARAM_DIGEST);
    require(digest == nullptr || names_sm3(text_of(*digest)), Reason::not_sm3);
    return 1;
}

int get_params(Encryption&, OSSL_PARAM* params) {
    put_text(params, OSSL_ASYM_CIPHER_PARAM_DIGEST, "SM3");
    return 1;
}

const OSSL_PARAM* known_params(void*, void*) noexcept {
    static constexpr OSSL_PARAM list[] = {text(OSSL_ASYM_CIPHER_PARAM_DIGEST), end_of_list};
    return list;
}

template <bool encrypting>
int init(Encryption& encryption, void* key, const OSSL_PARAM* params) {
    if (key != nullptr) encryption.pair = static_cast<const Key*>(key)->pair;
    const KeyPair& pair = encryption.pair;
    require(encrypting ? pair.has_public : pair.has_private, Reason::key_incomplete);
    return set_params(encryption, params);
}

void require_length(std::size_t size) {
    require(size != 0, Reason::message_empty);
    require(size <= algrithm::max_message_size, Reason::message_too_long);
}

/// A ciphertext record, wiped: the key stream is made in it.
struct Record {
    SecretBytes bytes;

    explicit Record(std::size_t message_size) : bytes(sizeof(Ulmaro_ECC_CIPHER_BLOB) + message_size) {}
    Ulmaro_ECC_CIPHER_BLOB* get() noexcept { return reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(bytes.data()); }
    Ulmaro_ECC_CIPHER_BLOB* operator->() noexcept { return get(); }
};

int encrypt(Encryption& encryption, unsigned char* out, std::size_t* written, std::size_t capacity,
            const unsigned char* in, std::size_t size) {
    require_length(size);
    const std::size_t octet_strings = der_size(digest_size) + der_size(size);
    *written = der_size(2 * most_number_bytes + octet_strings);
    if (out == nullptr) return 1;
    Record record(size);
    SM2_ECES_Encryption(&encryption.provider.curve, in, static_cast<int>(size), &encryption.pair.public_key.xy,
                        record.get());
    require(!algrithm::detail::all_zero(record->x), Reason::bad_point);
    const std::size_t contents = der_size(record->x) + der_size(record->y) + octet_strings;
    require(capacity >= der_size(contents), Reason::small_buffer);
    DerWriter der(out);
    der.header(der_sequence, contents);
    der.number(record->x);
    der.number(record->y);
    der.octets(record->hash);
    der.octets({record->cipher, size});
    *written = der_size(contents);
    return 1;
}

int decrypt(Encryption& encryption, unsigned char* out, std::size_t* written, std::size_t capacity,
            const unsigned char* in, std::size_t size) {
    ECC_PUBLIC_KEY c1;
    DerReader outer({in, size});
    DerReader parts(outer.take(der_sequence));
    outer.finish();
    parts.take_number(c1.x);
    parts.take_number(c1.y);
    const View c3 = parts.take(der_octet_string), c2 = parts.take(der_octet_string);
    parts.finish();
    require(c3.size() == digest_size, Reason::bad_encoding);
    require_length(c2.size());
    *written = c2.size();
    if (out == nullptr) return 1;
    require(capacity >= c2.size(), Reason::small_buffer);
    require(is_point(c1), Reason::bad_point);

    Record record(c2.size());
    std::memcpy(record.get(), &c1, sizeof c1);
    std::ranges::copy(c3, record->hash);
    record->cipher_len = static_cast<unsigned int>(c2.size());
    std::ranges::copy(c2, record->cipher);
    auto& curve = const_cast<ec_group_st&>(encryption.provider.curve);  // is not written
    if (sm2::decrypt(&curve, record.get(), &encryption.pair.private_key, out) != nullptr) {
        secure_wipe(out, c2.size());
        require(false, Reason::not_authentic);
    }
    return 1;
}

}  // namespace

const OSSL_DISPATCH* encryption_table() noexcept {
    static const OSSL_DISPATCH table[] = {
        ULMARO_ENTRY(ASYM_CIPHER_NEWCTX, asym_cipher_newctx, make<Encryption>),
        ULMARO_ENTRY(ASYM_CIPHER_FREECTX, asym_cipher_freectx, destroy<Encryption>),
        ULMARO_ENTRY(ASYM_CIPHER_DUPCTX, asym_cipher_dupctx, duplicate<Encryption>),
        ULMARO_ENTRY(ASYM_CIPHER_ENCRYPT_INIT, asym_cipher_encrypt_init, init<true>),
        ULMARO_ENTRY(ASYM_CIPHER_ENCRYPT, asym_cipher_encrypt, encrypt),
        ULMARO_ENTRY(ASYM_CIPHER_DECRYPT_INIT, asym_cipher_decrypt_init, init<false>),
        ULMARO_ENTRY(ASYM_CIPHER_DECRYPT, asym_cipher_decrypt, decrypt),
        ULMARO_ENTRY(ASYM_CIPHER_SET_CTX_PARAMS, asym_cipher_set_ctx_params, set_params),
        ULMARO_ENTRY(ASYM_CIPHER_SETTABLE_CTX_PARAMS, asym_cipher_settable_ctx_params, known_params),
        ULMARO_ENTRY(ASYM_CIPHER_GET_CTX_PARAMS, asym_cipher_get_ctx_params, get_params),
        ULMARO_ENTRY(ASYM_CIPHER_GETTABLE_CTX_PARAMS, asym_cipher_gettable_ctx_params, known_params),
        {},
    };
    return table;
}

}  // namespace ulmaro::provider
