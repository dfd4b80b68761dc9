// SM2 keys as OpenSSL keeps them: made, imported, exported, compared, checked. Keys that are read from files belong to
// OpenSSL's own provider, and come here through an import when they are first used.
#include <algorithm>
#include <array>
#include <memory>

#include "UlmaroAlgrithm.h"
#include "dispatch.hpp"
#include "ec/recommended_curve.hpp"
#include "key.hpp"
#include "parameters.hpp"
#include "sm2p256/engine.hpp"
#include "tables.hpp"

namespace ulmaro::provider {
namespace {

constexpr int with_private = OSSL_KEYMGMT_SELECT_PRIVATE_KEY;
constexpr int with_public = OSSL_KEYMGMT_SELECT_PUBLIC_KEY;
constexpr int with_both = OSSL_KEYMGMT_SELECT_KEYPAIR;

constexpr Point generator = [] {
    Point point;
    std::ranges::copy(ec::recommended_curve.Gx, point.xy.x);
    std::ranges::copy(ec::recommended_curve.Gy, point.xy.y);
    return point;
}();

bool same(const Point& a, const Point& b) noexcept { return std::ranges::equal(a.encoded(), b.encoded()); }

void require_curve(const OSSL_PARAM* params, bool must_be_named) {
    const auto* const group = find(params, OSSL_PKEY_PARAM_GROUP_NAME);
    require(group != nullptr ? names_sm2(text_of(*group)) : !must_be_named, Reason::not_the_curve);
}

void* duplicate_key(const Key& key, int selection) {
    auto copy = std::make_unique<Key>(key);
    if ((selection & with_private) == 0) {
        copy->pair.has_private = false;
        secure_wipe(&copy->pair.private_key, sizeof copy->pair.private_key);
    }
    if ((selection & with_public) == 0) copy->pair.has_public = false;
    return copy.release();
}

int has(const void* key, int selection) noexcept {
    if (key == nullptr) return 0;
    const KeyPair& pair = static_cast<const Key*>(key)->pair;
    return ((selection & with_public) == 0 || pair.has_public) && ((selection & with_private) == 0 || pair.has_private);
}

int match(const void* one, const void* other, int selection) noexcept {
    const KeyPair &a = static_cast<const Key*>(one)->pair, &b = static_cast<const Key*>(other)->pair;
    if ((selection & with_both) == 0) return 1;
    return a.has_public && b.has_public && same(a.public_key, b.public_key);
}

int validate(const Key& key, int selection, int) {
    const KeyPair& pair = key.pair;
    require(has(&key, selection) == 1, Reason::key_incomplete);
    if ((selection & with_public) != 0) require(is_point(pair.public_key.xy), Reason::bad_point);
    if ((selection & with_private) != 0) {
        require(sm2p256::is_signing_key(pair.private_key.d), Reason::bad_scalar);
        KeyPair derived = pair;
        derive_public(derived);
        require(!pair.has_public || same(derived.public_key, pair.public_key), Reason::key_mismatch);
    }
    return 1;
}

int import_key(Key& key, int selection, const OSSL_PARAM* params) {
    require_curve(params, true);
    if ((selection & with_both) == 0) return 1;
    KeyPair pair;
    if (const auto* p = find(params, OSSL_PKEY_PARAM_PRIV_KEY); p != nullptr && (selection & with_private) != 0) {
        number_of(*p, pair.private_key.d);
        require(sm2p256::is_signing_key(pair.private_key.d), Reason::bad_scalar);
        pair.has_private = true;
    }
    if (const auto* p = find(params, OSSL_PKEY_PARAM_PUB_KEY)) {
        pair.has_public = decode_point(octets_of(*p), pair.public_key.xy);
        require(pair.has_public, Reason::bad_point);
    } else {
        require(pair.has_private, Reason::key_incomplete);
        derive_public(pair);
    }
    key.pair = pair;
    return 1;
}

int export_key(Key& key, int selection, OSSL_CALLBACK* callback, void* argument) {
    const KeyPair& pair = key.pair;
    Wiped<std::array<unsigned char, 32>> scalar;
    std::array<OSSL_PARAM, 4> list;
    auto next = list.begin();
    const auto add = [&](const char* name, unsigned type, const void* data, std::size_t size) {
        *next++ = {name, type, const_cast<void*>(data), size, unmodified};
    };
    if ((selection & OSSL_KEYMGMT_SELECT_DOMAIN_PARAMETERS) != 0) {
        add(OSSL_PKEY_PARAM_GROUP_NAME, OSSL_PARAM_UTF8_STRING, "SM2", 3);
    }
    if ((selection & with_public) != 0 && pair.has_public) {
        const View point = pair.public_key.encoded();
        add(OSSL_PKEY_PARAM_PUB_KEY, OSSL_PARAM_OCTET_STRING, point.data(), point.size());
    }
    if ((selection & with_private) != 0 && pair.has_private) {
        std::ranges::reverse_copy(pair.private_key.d, scalar->begin());
        add(OSSL_PKEY_PARAM_PRIV_KEY, OSSL_PARAM_UNSIGNED_INTEGER, scalar->data(), scalar->size());
    }
    *next = end_of_list;
    return callback(list.data(), argument);
}

const OSSL_PARAM* exchanged_params(int) noexcept {
    static constexpr OSSL_PARAM list[] = {text(OSSL_PKEY_PARAM_GROUP_NAME), octets(OSSL_PKEY_PARAM_PUB_KEY),
                                          number(OSSL_PKEY_PARAM_PRIV_KEY), end_of_list};
    return list;
}

int get_params(Key& key, OSSL_PARAM* params) {
    const KeyPair& pair = key.pair;
    const ECCParameter_st& curve = ec::recommended_curve;
    put_count(params, OSSL_PKEY_PARAM_BITS, 256);
    put_count(params, OSSL_PKEY_PARAM_SECURITY_BITS, 128);
    put_count(params, OSSL_PKEY_PARAM_MAX_SIZE, 72);
    put_text(params, OSSL_PKEY_PARAM_DEFAULT_DIGEST, "SM3");
    put_text(params, OSSL_PKEY_PARAM_GROUP_NAME, "SM2");
    put_text(params, OSSL_PKEY_PARAM_EC_ENCODING, "named_curve");
    put_text(params, OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, "uncompressed");
    put_text(params, OSSL_PKEY_PARAM_EC_FIELD_TYPE, "prime-field");
    put_count(params, OSSL_PKEY_PARAM_EC_DECODED_FROM_EXPLICIT_PARAMS, 0);
    put_number(params, OSSL_PKEY_PARAM_EC_P, curve.p);
    put_number(params, OSSL_PKEY_PARAM_EC_A, curve.a);
    put_number(params, OSSL_PKEY_PARAM_EC_B, curve.b);
    put_number(params, OSSL_PKEY_PARAM_EC_ORDER, curve.n);
    put_count(params, OSSL_PKEY_PARAM_EC_COFACTOR, 1);
    put_octets(params, OSSL_PKEY_PARAM_EC_GENERATOR, generator.encoded());
    if (pair.has_public) {
        const Point& point = pair.public_key;
        put_octets(params, OSSL_PKEY_PARAM_PUB_KEY, point.encoded());
        put_octets(params, OSSL_PKEY_PARAM_ENCODED_PUBLIC_KEY, point.encoded());
        put_number(params, OSSL_PKEY_PARAM_EC_PUB_X, point.xy.x);
        put_number(params, OSSL_PKEY_PARAM_EC_PUB_Y, point.xy.y);
    }
    if (pair.has_private) put_number(params, OSSL_PKEY_PARAM_PRIV_KEY, pair.private_key.d);
    return 1;
}

const OSSL_PARAM* gettable_params(void*) noexcept {
    static constexpr OSSL_PARAM list[] = {integer(OSSL_PKEY_PARAM_BITS),
                                          integer(OSSL_PKEY_PARAM_SECURITY_BITS),
                                          integer(OSSL_PKEY_PARAM_MAX_SIZE),
                                          text(OSSL_PKEY_PARAM_DEFAULT_DIGEST),
                                          text(OSSL_PKEY_PARAM_GROUP_NAME),
                                          text(OSSL_PKEY_PARAM_EC_ENCODING),
                                          text(OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT),
                                          text(OSSL_PKEY_PARAM_EC_FIELD_TYPE),
                                          integer(OSSL_PKEY_PARAM_EC_DECODED_FROM_EXPLICIT_PARAMS),
                                          number(OSSL_PKEY_PARAM_EC_P),
                                          number(OSSL_PKEY_PARAM_EC_A),
                                          number(OSSL_PKEY_PARAM_EC_B),
                                          number(OSSL_PKEY_PARAM_EC_ORDER),
                                          number(OSSL_PKEY_PARAM_EC_COFACTOR),
                                          octets(OSSL_PKEY_PARAM_EC_GENERATOR),
                                          octets(OSSL_PKEY_PARAM_PUB_KEY),
                                          octets(OSSL_PKEY_PARAM_ENCODED_PUBLIC_KEY),
                                          number(OSSL_PKEY_PARAM_EC_PUB_X),
                                          number(OSSL_PKEY_PARAM_EC_PUB_Y),
                                          number(OSSL_PKEY_PARAM_PRIV_KEY),
                                          end_of_list};
    return list;
}

const char* operation_name(int) noexcept { return "SM2"; }

struct Generation : Object {
    using Object::Object;
    bool with_key = false;
};

int set_generation(Generation&, const OSSL_PARAM* params) {
    require_curve(params, false);
    const auto require_text = [&](const char* name, std::string_view only) {
        const auto* const p = find(params, name);
        require(p == nullptr || text_of(*p) == only, Reason::bad_parameter);
    };
    require_text(OSSL_PKEY_PARAM_EC_ENCODING, "named_curve");
    require_text(OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, "uncompressed");
    return 1;
}

void* start_generation(const Provider& provider, int selection, const OSSL_PARAM* params) {
    auto generation = std::make_unique<Generation>(provider);
    generation->with_key = (selection & with_both) != 0;
    set_generation(*generation, params);
    return generation.release();
}

int use_template(void*, void*) noexcept { return 1; }  // there is one curve to take from it

const OSSL_PARAM* settable_for_generation(void*, void*) noexcept {
    static constexpr OSSL_PARAM list[] = {text(OSSL_PKEY_PARAM_GROUP_NAME), text(OSSL_PKEY_PARAM_EC_ENCODING),
                                          text(OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT), end_of_list};
    return list;
}

void* generate(Generation& generation, OSSL_CALLBACK*, void*) {
    auto key = std::make_unique<Key>(generation.provider);
    if (generation.with_key) {
        KeyPair& pair = key->pair;
        SM2_ECC_GenerateKeyPair(&generation.provider.curve, &pair.public_key.xy, &pair.private_key);
        pair.has_public = pair.has_private = true;
    }
    return key.release();
}

}  // namespace

const OSSL_DISPATCH* key_management_table() noexcept {
    static const OSSL_DISPATCH table[] = {
        ULMARO_ENTRY(KEYMGMT_NEW, keymgmt_new, make<Key>),
        ULMARO_ENTRY(KEYMGMT_FREE, keymgmt_free, destroy<Key>),
        ULMARO_ENTRY(KEYMGMT_DUP, keymgmt_dup, duplicate_key),
        ULMARO_ENTRY(KEYMGMT_HAS, keymgmt_has, has),
        ULMARO_ENTRY(KEYMGMT_MATCH, keymgmt_match, match),
        ULMARO_ENTRY(KEYMGMT_VALIDATE, keymgmt_validate, validate),
        ULMARO_ENTRY(KEYMGMT_IMPORT, keymgmt_import, import_key),
        ULMARO_ENTRY(KEYMGMT_IMPORT_TYPES, keymgmt_import_types, exchanged_params),
        ULMARO_ENTRY(KEYMGMT_EXPORT, keymgmt_export, export_key),
        ULMARO_ENTRY(KEYMGMT_EXPORT_TYPES, keymgmt_export_types, exchanged_params),
        ULMARO_ENTRY(KEYMGMT_GET_PARAMS, keymgmt_get_params, get_params),
        ULMARO_ENTRY(KEYMGMT_GETTABLE_PARAMS, keymgmt_gettable_params, gettable_params),
        ULMARO_ENTRY(KEYMGMT_QUERY_OPERATION_NAME, keymgmt_query_operation_name, operation_name),
        ULMARO_ENTRY(KEYMGMT_GEN_INIT, keymgmt_gen_init, start_generation),
        ULMARO_ENTRY(KEYMGMT_GEN_SET_TEMPLATE, keymgmt_gen_set_template, use_template),
        ULMARO_ENTRY(KEYMGMT_GEN_SET_PARAMS, keymgmt_gen_set_params, set_generation),
        ULMARO_ENTRY(KEYMGMT_GEN_SETTABLE_PARAMS, keymgmt_gen_settable_params, settable_for_generation),
        ULMARO_ENTRY(KEYMGMT_GEN, keymgmt_gen, generate),
        ULMARO_ENTRY(KEYMGMT_GEN_CLEANUP, keymgmt_gen_cleanup, destroy<Generation>),
        {},
    };
    return table;
}

}  // namespace ulmaro::provider
