// SM2 signatures in DER: of digests, and of messages together with the signer's distinguishing identifier.
#include <openssl/prov_ssl.h>

#include <cstring>
#include <string>

#include "UlmaroAlgrithmFormats.hpp"
#include "dispatch.hpp"
#include "ec/recommended_curve.hpp"
#include "key.hpp"
#include "parameters.hpp"
#include "sm2p256/engine.hpp"
#include "tables.hpp"

namespace ulmaro::provider {
namespace {

using algrithm::Digest;
using algrithm::Signature;

constexpr std::size_t most_bytes = 72;          // of a signature
constexpr std::size_t longest_identity = 8191;  // its length in bits has two bytes

// Set by OpenSSL 4.0 and later for a handshake; its signers have this identity (RFC 8998 clause 3.2.1).
constexpr const char* tls_version = "tls-version";
constexpr std::string_view tls_identity = "TLSv1.3+GM+Cipher+Suite";

/// Where a message is: there is none, because digests are given or it has been signed; it can begin, with Z; it has.
enum class Stage { none, ahead, begun };

struct Signer : Object {
    using Object::Object;
    KeyPair pair;
    std::string identity{provider.identity};
    algrithm::Sm3 message;
    Stage stage = Stage::none;
};

void* make_signer(const Provider& provider, const char*) { return new Signer(provider); }

/// Starts a message with Z, not before its first byte: the identifier is set after the operation has been initialised.
void begin(Signer& signer) {
    require(signer.stage != Stage::none, Reason::not_initialised);
    if (signer.stage == Stage::begun) return;
    signer.message = signer.provider.curve.message_stream(*signer.pair.public_key, signer.identity);
    signer.stage = Stage::begun;
}

Digest finish(Signer& signer) {
    begin(signer);
    signer.stage = Stage::none;
    return signer.message.finish();
}

int set_params(Signer& signer, const OSSL_PARAM* params) {
    if (const auto* p = find(params, tls_version); p != nullptr && count_of(*p) == TLS1_3_VERSION) {
        require(signer.stage == Stage::ahead, Reason::identity_too_late);
        signer.identity = tls_identity;
    }
    if (const auto* p = find(params, OSSL_PKEY_PARAM_DIST_ID)) {
        require(signer.stage == Stage::ahead, Reason::identity_too_late);
        const View identity = octets_of(*p);
        require(identity.size() <= longest_identity, Reason::identity_too_long);
        signer.identity.assign(identity.begin(), identity.end());
    }
    if (const auto* p = find(params, OSSL_SIGNATURE_PARAM_DIGEST)) require(names_sm3(text_of(*p)), Reason::not_sm3);
    if (const auto* p = find(params, OSSL_SIGNATURE_PARAM_DIGEST_SIZE)) {
        require(count_of(*p) == ULMARO_SM3_DIGEST_BYTES, Reason::bad_length);
    }
    return 1;
}

const OSSL_PARAM* settable_params(void*, void*) noexcept {
    static constexpr OSSL_PARAM list[] = {octets(OSSL_PKEY_PARAM_DIST_ID), text(OSSL_SIGNATURE_PARAM_DIGEST),
                                          number(OSSL_SIGNATURE_PARAM_DIGEST_SIZE), number(tls_version), end_of_list};
    return list;
}

int get_params(Signer&, OSSL_PARAM* params) {
    // SEQUENCE of the object identifier 1.2.156.10197.1.501, SM2 with SM3, as certificates name it.
    static constexpr unsigned char algorithm[] = {0x30, 0x0a, 0x06, 0x08, 0x2a, 0x81,
                                                  0x1c, 0xcf, 0x55, 0x01, 0x83, 0x75};
    put_octets(params, OSSL_SIGNATURE_PARAM_ALGORITHM_ID, algorithm);
    put_text(params, OSSL_SIGNATURE_PARAM_DIGEST, "SM3");
    put_count(params, OSSL_SIGNATURE_PARAM_DIGEST_SIZE, ULMARO_SM3_DIGEST_BYTES);
    return 1;
}

const OSSL_PARAM* gettable_params(void*, void*) noexcept {
    static constexpr OSSL_PARAM list[] = {octets(OSSL_SIGNATURE_PARAM_ALGORITHM_ID), text(OSSL_SIGNATURE_PARAM_DIGEST),
                                          number(OSSL_SIGNATURE_PARAM_DIGEST_SIZE), end_of_list};
    return list;
}

enum Direction { signing, verifying };

/// Without a key, the one before stays.
void start(Signer& signer, Direction direction, Stage stage, const void* key, const OSSL_PARAM* params) {
    const KeyPair& pair = key != nullptr ? static_cast<const Key*>(key)->pair : signer.pair;
    require(pair.public_key && (direction == verifying || pair.private_key), Reason::key_incomplete);
    if (key != nullptr) signer.pair = pair;
    signer.stage = stage;
    set_params(signer, params);
}

template <Direction direction>
int init(Signer& signer, void* key, const OSSL_PARAM* params) {
    start(signer, direction, Stage::none, key, params);
    return 1;
}

template <Direction direction>
int init_with_digest(Signer& signer, const char* digest, void* key, const OSSL_PARAM* params) {
    require(digest == nullptr || *digest == 0 || names_sm3(digest), Reason::not_sm3);
    start(signer, direction, Stage::ahead, key, params);
    return 1;
}

int update(Signer& signer, const unsigned char* in, std::size_t size) {
    begin(signer);
    signer.message.update({in, size});
    return 1;
}

void sign_digest(const Signer& signer, unsigned char* out, std::size_t* written, const Digest& digest) {
    require(signer.pair.private_key.has_value(), Reason::not_initialised);
    const Signature signature = signer.provider.curve.sign_digest(*signer.pair.private_key, digest);
    const algrithm::Bytes encoded = algrithm::signature_to_der(signature);
    std::ranges::copy(encoded, out);
    *written = encoded.size();
}

/// A signature that is malformed is an error, a wrong one is not.
int verify_digest(const Signer& signer, View encoded, const Digest& digest) {
    require(signer.pair.public_key.has_value(), Reason::not_initialised);
    const Signature signature = algrithm::signature_from_der(encoded);
    const auto r = signature.bytes().first<32>(), s = signature.bytes().last<32>();
    const auto& n = ec::recommended_curve.n;
    if (std::memcmp(r.data(), n, sizeof n) >= 0 || std::memcmp(s.data(), n, sizeof n) >= 0) return 0;
    const auto point = signer.pair.public_key->bytes();
    return sm2p256::verify_vartime(digest.bytes(), r, s, point.first<32>(), point.last<32>()) ==
           sm2p256::Comparison::equal;
}

Digest given_digest(const unsigned char* digest, std::size_t size) {
    require(size == ULMARO_SM3_DIGEST_BYTES, Reason::bad_length);
    return Digest::from({digest, size});
}

/// Answers how much room a signature may need, or insists on it: how much it will need is not known before.
bool asks_for_size(const unsigned char* out, std::size_t* written, std::size_t capacity) {
    *written = most_bytes;
    require(out == nullptr || capacity >= most_bytes, Reason::small_buffer);
    return out == nullptr;
}

int sign(Signer& signer, unsigned char* out, std::size_t* written, std::size_t capacity, const unsigned char* digest,
         std::size_t size) {
    if (!asks_for_size(out, written, capacity)) sign_digest(signer, out, written, given_digest(digest, size));
    return 1;
}

int verify(Signer& signer, const unsigned char* signature, std::size_t signature_size, const unsigned char* digest,
           std::size_t size) {
    return verify_digest(signer, {signature, signature_size}, given_digest(digest, size));
}

int sign_final(Signer& signer, unsigned char* out, std::size_t* written, std::size_t capacity) {
    if (!asks_for_size(out, written, capacity)) sign_digest(signer, out, written, finish(signer));
    return 1;
}

int verify_final(Signer& signer, const unsigned char* signature, std::size_t size) {
    return verify_digest(signer, {signature, size}, finish(signer));
}

}  // namespace

const OSSL_DISPATCH* signature_table() noexcept {
    static const OSSL_DISPATCH table[] = {
        ULMARO_ENTRY(SIGNATURE_NEWCTX, signature_newctx, make_signer),
        ULMARO_ENTRY(SIGNATURE_FREECTX, signature_freectx, destroy<Signer>),
        ULMARO_ENTRY(SIGNATURE_DUPCTX, signature_dupctx, duplicate<Signer>),
        ULMARO_ENTRY(SIGNATURE_SIGN_INIT, signature_sign_init, init<signing>),
        ULMARO_ENTRY(SIGNATURE_SIGN, signature_sign, sign),
        ULMARO_ENTRY(SIGNATURE_VERIFY_INIT, signature_verify_init, init<verifying>),
        ULMARO_ENTRY(SIGNATURE_VERIFY, signature_verify, verify),
        ULMARO_ENTRY(SIGNATURE_DIGEST_SIGN_INIT, signature_digest_sign_init, init_with_digest<signing>),
        ULMARO_ENTRY(SIGNATURE_DIGEST_SIGN_UPDATE, signature_digest_sign_update, update),
        ULMARO_ENTRY(SIGNATURE_DIGEST_SIGN_FINAL, signature_digest_sign_final, sign_final),
        ULMARO_ENTRY(SIGNATURE_DIGEST_VERIFY_INIT, signature_digest_verify_init, init_with_digest<verifying>),
        ULMARO_ENTRY(SIGNATURE_DIGEST_VERIFY_UPDATE, signature_digest_verify_update, update),
        ULMARO_ENTRY(SIGNATURE_DIGEST_VERIFY_FINAL, signature_digest_verify_final, verify_final),
        ULMARO_ENTRY(SIGNATURE_SET_CTX_PARAMS, signature_set_ctx_params, set_params),
        ULMARO_ENTRY(SIGNATURE_SETTABLE_CTX_PARAMS, signature_settable_ctx_params, settable_params),
        ULMARO_ENTRY(SIGNATURE_GET_CTX_PARAMS, signature_get_ctx_params, get_params),
        ULMARO_ENTRY(SIGNATURE_GETTABLE_CTX_PARAMS, signature_gettable_ctx_params, gettable_params),
        {},
    };
    return table;
}

}  // namespace ulmaro::provider
