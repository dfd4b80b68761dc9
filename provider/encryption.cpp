// SM2 encryption, in the DER of GM/T 0009: SEQUENCE of x and y of C1, C3 and C2.
#include <bit>

#include "UlmaroAlgrithmFormats.hpp"
#include "base/memory.hpp"
#include "dispatch.hpp"
#include "key.hpp"
#include "parameters.hpp"
#include "sm2/decrypt.hpp"
#include "tables.hpp"

namespace ulmaro::provider {
namespace {

namespace der = algrithm::der;

/// Bytes of an element of DER with contents of this size.
constexpr std::size_t element_size(std::size_t contents) noexcept {
    return 2 + (contents < 0x80 ? 0 : (std::bit_width(contents) + 7) / 8) + contents;
}

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
    const KeyPair& pair = key != nullptr ? static_cast<const Key*>(key)->pair : encryption.pair;
    require(encrypting ? pair.public_key.has_value() : pair.private_key.has_value(), Reason::key_incomplete);
    if (key != nullptr) encryption.pair = pair;
    return set_params(encryption, params);
}

void require_length(std::size_t size) {
    require(size != 0, Reason::message_empty);
    require(size <= algrithm::max_message_size, Reason::message_too_long);
}

int encrypt(Encryption& encryption, unsigned char* out, std::size_t* written, std::size_t capacity,
            const unsigned char* in, std::size_t size) {
    require(encryption.pair.public_key.has_value(), Reason::not_initialised);
    require_length(size);
    constexpr std::size_t most_number_bytes = 35;
    const std::size_t octet_strings = element_size(ULMARO_SM3_DIGEST_BYTES) + element_size(size);
    *written = element_size(2 * most_number_bytes + octet_strings);
    if (out == nullptr) return 1;
    // Not by the class Curve, which looks at the point again.
    SecretBytes memory(sizeof(Ulmaro_ECC_CIPHER_BLOB) + size);  // the key stream is made in it
    auto* const record = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(memory.data());
    const auto key = std::bit_cast<ECC_PUBLIC_KEY>(encryption.pair.public_key->array());
    SM2_ECES_Encryption(&encryption.provider.group, in, static_cast<int>(size), &key, record);
    require(!algrithm::detail::all_zero(record->x), Reason::bad_point);
    der::Writer c1(2 * most_number_bytes);
    c1.integer(record->y);
    c1.integer(record->x);
    *written = element_size(c1.mark() + octet_strings);
    require(capacity >= *written, Reason::small_buffer);
    der::Writer encoded(std::span(out, *written));
    encoded.element(der::octet_string_tag, {record->cipher, size});
    encoded.element(der::octet_string_tag, record->hash);
    encoded.raw(c1.bytes());
    encoded.wrap(der::sequence_tag, 0);
    return 1;
}

int decrypt(Encryption& encryption, unsigned char* out, std::size_t* written, std::size_t capacity,
            const unsigned char* in, std::size_t size) {
    require(encryption.pair.private_key.has_value(), Reason::not_initialised);
    const algrithm::Ciphertext ciphertext = algrithm::ciphertext_from_der({in, size});
    const std::size_t message_size = ciphertext.message_size();
    require_length(message_size);
    *written = message_size;
    if (out == nullptr) return 1;
    require(capacity >= message_size, Reason::small_buffer);
    require(is_point(PublicKey(ciphertext.c1())), Reason::bad_point);
    auto& group = const_cast<ec_group_st&>(encryption.provider.group);  // these are not written
    auto& record = const_cast<Ulmaro_ECC_CIPHER_BLOB&>(ciphertext.record());
    auto& key = const_cast<ECC_PRIVATE_KEY&>(encryption.pair.private_key->record());
    if (sm2::decrypt(&group, &record, &key, out) != nullptr) {
        secure_wipe(out, message_size);
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
