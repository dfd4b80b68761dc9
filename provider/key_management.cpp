// SM2 keys as OpenSSL keeps them: made, imported, exported, compared, checked. Keys that are read from files belong to
// OpenSSL's own provider, and come here through an import when they are first used.
#include <algorithm>
#include <array>
#include <memory>

#include "UlmaroAlgrithmFormats.hpp"
#include "base/wipe.hpp"
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

constexpr PublicKey generator = [] {
    std::array<unsigned char, 64> point;
    std::ranges::copy(ec::recommended_curve.Gy, std::ranges::copy(ec::recommended_curve.Gx, point.begin()).out);
    return PublicKey(point);
}();

void require_curve(const OSSL_PARAM* params, bool must_be_named) {
    const auto* const group = find(params, OSSL_PKEY_PARAM_GROUP_NAME);
    require(group != nullptr ? names_sm2(text_of(*group)) : !must_be_named, Reason::not_the_curve);
}

constexpr std::pair<std::string_view, Form> forms[] = {
    {"uncompressed", uncompressed}, {"compressed", compressed}, {"hybrid", hybrid}};

/// How a key is to be shown.
void set_form(Form& form, const OSSL_PARAM* params) {
    if (const auto* p = find(params, OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT)) {
        const auto* const found = std::ranges::find(forms, text_of(*p), [](const auto& entry) { return entry.first; });
        require(found != std::end(forms), Reason::bad_parameter);
        form = found->second;
    }
}

/// Likewise, by a program. With the curve's parameters instead of its name, or without the public half, it is not.
void choose_form(Form& form, const OSSL_PARAM* params) {
    const auto* const encoding = find(params, OSSL_PKEY_PARAM_EC_ENCODING);
    require(encoding == nullptr || text_of(*encoding) == "named_curve", Reason::not_the_form);
    const auto* const with_half = find(params, OSSL_PKEY_PARAM_EC_INCLUDE_PUBLIC);
    require(with_half == nullptr || count_of(*with_half) != 0, Reason::not_the_form);
    set_form(form, params);
}

std::string_view name_of(Form form) noexcept {
    return std::ranges::find(forms, form, [](const auto& entry) { return entry.second; })->first;
}

void* duplicate_key(const Key& key, int selection) {
    auto copy = std::make_unique<Key>(key);
    if ((selection & with_private) == 0) copy->pair.private_key.reset();
    if ((selection & with_public) == 0) copy->pair.public_key.reset();
    return copy.release();
}

int has(const void* key, int selection) noexcept {
    if (key == nullptr) return 0;
    const KeyPair& pair = static_cast<const Key*>(key)->pair;
    return ((selection & with_public) == 0 || pair.public_key) && ((selection & with_private) == 0 || pair.private_key);
}

int match(const void* one, const void* other, int selection) noexcept {
    const KeyPair &a = static_cast<const Key*>(one)->pair, &b = static_cast<const Key*>(other)->pair;
    return (selection & with_both) == 0 || (a.public_key && a.public_key == b.public_key);
}

int validate(const Key& key, int selection, int) {
    const auto& [public_key, private_key] = key.pair;
    require(has(&key, selection) == 1, Reason::key_incomplete);
    if ((selection & with_public) != 0) require(is_point(*public_key), Reason::bad_point);
    if ((selection & with_private) != 0) require(sm2p256::is_signing_key(private_key->bytes()), Reason::bad_scalar);
    if ((selection & with_both) == with_both) require(derive_public(*private_key) == public_key, Reason::key_mismatch);
    return 1;
}

int import_key(Key& key, int selection, const OSSL_PARAM* params) {
    require_curve(params, true);
    set_form(key.form, params);
    if ((selection & with_both) == 0) return 1;
    KeyPair pair;
    if (const auto* p = find(params, OSSL_PKEY_PARAM_PRIV_KEY); p != nullptr && (selection & with_private) != 0) {
        Wiped<std::array<unsigned char, 32>> scalar;
        number_of(*p, *scalar);
        require(sm2p256::is_signing_key(*scalar), Reason::bad_scalar);
        pair.private_key.emplace(*scalar);
    }
    if (const auto* p = find(params, OSSL_PKEY_PARAM_PUB_KEY)) {
        pair.public_key = decode_point(key.provider, octets_of(*p));
    } else {
        require(pair.private_key.has_value(), Reason::key_incomplete);
        pair.public_key = derive_public(*pair.private_key);
    }
    key.pair = std::move(pair);
    return 1;
}

int export_key(Key& key, int selection, OSSL_CALLBACK* callback, void* argument) {
    const auto& [public_key, private_key] = key.pair;
    EncodedPoint point;
    Wiped<std::array<unsigned char, 32>> scalar;
    std::array<OSSL_PARAM, 5> list;
    auto next = list.begin();
    const auto add = [&](const char* name, unsigned type, const void* data, std::size_t size) {
        *next++ = {name, type, const_cast<void*>(data), size, unmodified};
    };
    if ((selection & OSSL_KEYMGMT_SELECT_DOMAIN_PARAMETERS) != 0) {
        const std::string_view form = name_of(key.form);
        add(OSSL_PKEY_PARAM_GROUP_NAME, OSSL_PARAM_UTF8_STRING, "SM2", 3);
        add(OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, OSSL_PARAM_UTF8_STRING, form.data(), form.size());
    }
    if ((selection & with_public) != 0 && public_key) {
        point = encode_point(*public_key, key.form);
        add(OSSL_PKEY_PARAM_PUB_KEY, OSSL_PARAM_OCTET_STRING, point.bytes.data(), point.size);
    }
    if ((selection & with_private) != 0 && private_key) {
        std::ranges::reverse_copy(private_key->bytes(), scalar->begin());
        add(OSSL_PKEY_PARAM_PRIV_KEY, OSSL_PARAM_UNSIGNED_INTEGER, scalar->data(), scalar->size());
    }
    *next = end_of_list;
    return callback(list.data(), argument);
}

const OSSL_PARAM* exchanged_params(int) noexcept {
    static constexpr OSSL_PARAM list[] = {text(OSSL_PKEY_PARAM_GROUP_NAME),
                                          text(OSSL_PKEY_PARAM_EC_ENCODING),
                                          text(OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT),
                                          octets(OSSL_PKEY_PARAM_PUB_KEY),
                                          number(OSSL_PKEY_PARAM_PRIV_KEY),
                                          end_of_list};
    return list;
}

int get_params(Key& key, OSSL_PARAM* params) {
    const auto& [public_key, private_key] = key.pair;
    const ECCParameter_st& curve = ec::recommended_curve;
    put_count(params, OSSL_PKEY_PARAM_BITS, 256);
    put_count(params, OSSL_PKEY_PARAM_SECURITY_BITS, 128);
    put_count(params, OSSL_PKEY_PARAM_MAX_SIZE, 72);
    put_text(params, OSSL_PKEY_PARAM_DEFAULT_DIGEST, "SM3");
    put_text(params, OSSL_PKEY_PARAM_GROUP_NAME, "SM2");
    put_text(params, OSSL_PKEY_PARAM_EC_ENCODING, "named_curve");
    put_text(params, OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, name_of(key.form));
    put_text(params, OSSL_PKEY_PARAM_EC_FIELD_TYPE, "prime-field");
    put_count(params, OSSL_PKEY_PARAM_EC_DECODED_FROM_EXPLICIT_PARAMS, 0);
    put_number(params, OSSL_PKEY_PARAM_EC_P, curve.p);
    put_number(params, OSSL_PKEY_PARAM_EC_A, curve.a);
    put_number(params, OSSL_PKEY_PARAM_EC_B, curve.b);
    put_number(params, OSSL_PKEY_PARAM_EC_ORDER, curve.n);
    put_count(params, OSSL_PKEY_PARAM_EC_COFACTOR, 1);
    put_octets(params, OSSL_PKEY_PARAM_EC_GENERATOR, encode_point(generator, key.form).view());
    if (public_key) {
        put_octets(params, OSSL_PKEY_PARAM_PUB_KEY, encode_point(*public_key, key.form).view());
        put_octets(params, OSSL_PKEY_PARAM_ENCODED_PUBLIC_KEY, encode_point(*public_key).view());
        put_number(params, OSSL_PKEY_PARAM_EC_PUB_X, public_key->bytes().first(32));
        put_number(params, OSSL_PKEY_PARAM_EC_PUB_Y, public_key->bytes().last(32));
    }
    if (private_key) put_number(params, OSSL_PKEY_PARAM_PRIV_KEY, private_key->bytes());
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

int set_params(Key& key, const OSSL_PARAM* params) {
    choose_form(key.form, params);
    if (const auto* p = find(params, OSSL_PKEY_PARAM_ENCODED_PUBLIC_KEY)) {
        key.pair.public_key = decode_point(key.provider, octets_of(*p));
    }
    return 1;
}

const OSSL_PARAM* settable_params(void*) noexcept {
    static constexpr OSSL_PARAM list[] = {text(OSSL_PKEY_PARAM_EC_ENCODING),
                                          text(OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT),
                                          octets(OSSL_PKEY_PARAM_ENCODED_PUBLIC_KEY), end_of_list};
    return list;
}

const char* operation_name(int) noexcept { return "SM2"; }

struct Generation : Object {
    using Object::Object;
    bool with_key = false;
    Form form = uncompressed;
};

int set_generation(Generation& generation, const OSSL_PARAM* params) {
    require_curve(params, false);
    choose_form(generation.form, params);
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
    key->form = generation.form;
    if (generation.with_key) {
        algrithm::KeyPair pair = generation.provider.curve.generate();
        key->pair.public_key = pair.public_key;
        key->pair.private_key = std::move(pair.private_key);
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
        ULMARO_ENTRY(KEYMGMT_SET_PARAMS, keymgmt_set_params, set_params),
        ULMARO_ENTRY(KEYMGMT_SETTABLE_PARAMS, keymgmt_settable_params, settable_params),
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
