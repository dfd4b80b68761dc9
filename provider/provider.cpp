// The door: what OpenSSL asks of a provider when it loads one. No function of libcrypto is called by name, so that the
// module fits every OpenSSL from 3.0 on, static ones included.
#include <openssl/core_dispatch.h>
#include <openssl/core_names.h>
#include <openssl/prov_ssl.h>

#include <cstring>
#include <new>

#include "dispatch.hpp"
#include "parameters.hpp"
#include "tables.hpp"

namespace ulmaro::provider {
namespace {

OSSL_ALGORITHM algorithm(const char* names, const OSSL_DISPATCH* table, const char* description) noexcept {
    return {names, "provider=ulmaro", table, description};
}

// The names are those of OpenSSL, so that ours are alternatives to its own.
const OSSL_ALGORITHM* query(void*, int operation, int* do_not_store) noexcept {
    static constexpr const char* sm2 = "SM2:1.2.156.10197.1.301";
    static const OSSL_ALGORITHM digests[] = {algorithm("SM3:1.2.156.10197.1.401", digest_table(), "SM3"), {}};
    static const OSSL_ALGORITHM ciphers[] = {
        algorithm("SM4-ECB:1.2.156.10197.1.104.1", ecb_table(), "SM4-ECB"),
        algorithm("SM4-CBC:SM4:1.2.156.10197.1.104.2", cbc_table(), "SM4-CBC"),
        algorithm("SM4-CTR:1.2.156.10197.1.104.7", ctr_table(), "SM4-CTR"),
        {},
    };
    static const OSSL_ALGORITHM keys[] = {algorithm(sm2, key_management_table(), "SM2 keys"), {}};
    static const OSSL_ALGORITHM signatures[] = {algorithm(sm2, signature_table(), "SM2 signatures"), {}};
    static const OSSL_ALGORITHM encryptions[] = {algorithm(sm2, encryption_table(), "SM2 encryption"), {}};
    *do_not_store = 0;
    switch (operation) {
        case OSSL_OP_DIGEST:
            return digests;
        case OSSL_OP_CIPHER:
            return ciphers;
        case OSSL_OP_KEYMGMT:
            return keys;
        case OSSL_OP_SIGNATURE:
            return signatures;
        case OSSL_OP_ASYM_CIPHER:
            return encryptions;
        default:
            return nullptr;
    }
}

/// A signature scheme of TLS counts only where the provider that names it also has the keys: without this, OpenSSL 4.0
/// and later would know no certificate with SM2.
int get_capabilities(const Provider& provider, const char* capability, OSSL_CALLBACK* callback, void* argument) {
    if (std::strcmp(capability, "TLS-SIGALG") != 0 || provider.core.major_version() < 4) return 1;
    const auto text = [](const char* name, const char* value) {
        return OSSL_PARAM{name, OSSL_PARAM_UTF8_STRING, const_cast<char*>(value), std::strlen(value), unmodified};
    };
    unsigned code_point = 0x0708, security_bits = 128;
    int tls_1_3 = TLS1_3_VERSION, never = -1;
    const auto number = [](const char* name, unsigned type, auto& value) {
        return OSSL_PARAM{name, type, &value, sizeof value, unmodified};
    };
    const OSSL_PARAM scheme[] = {text("tls-sigalg-iana-name", "sm2sig_sm3"),
                                 text("tls-sigalg-name", "SM2"),
                                 number("tls-sigalg-code-point", OSSL_PARAM_UNSIGNED_INTEGER, code_point),
                                 number("tls-sigalg-sec-bits", OSSL_PARAM_UNSIGNED_INTEGER, security_bits),
                                 number("tls-min-tls", OSSL_PARAM_INTEGER, tls_1_3),
                                 number("tls-max-tls", OSSL_PARAM_INTEGER, tls_1_3),
                                 number("tls-min-dtls", OSSL_PARAM_INTEGER, never),
                                 number("tls-max-dtls", OSSL_PARAM_INTEGER, never),
                                 end_of_list};
    return callback(scheme, argument);
}

int get_params(const Provider&, OSSL_PARAM* params) {
    put_text(params, OSSL_PROV_PARAM_NAME, "UlmaroAlgrithm");
    put_text(params, OSSL_PROV_PARAM_VERSION, ULMARO_ALGRITHM_VERSION);
    put_text(params, OSSL_PROV_PARAM_BUILDINFO, ULMARO_ALGRITHM_VERSION);
    put_count(params, OSSL_PROV_PARAM_STATUS, 1);
    return 1;
}

const OSSL_PARAM* gettable_params(void*) noexcept {
    static constexpr OSSL_PARAM list[] = {text_pointer(OSSL_PROV_PARAM_NAME), text_pointer(OSSL_PROV_PARAM_VERSION),
                                          text_pointer(OSSL_PROV_PARAM_BUILDINFO), integer(OSSL_PROV_PARAM_STATUS),
                                          end_of_list};
    return list;
}

const OSSL_ITEM* get_reason_strings(void*) noexcept { return reason_strings(); }

const OSSL_DISPATCH* provider_table() noexcept {
    static const OSSL_DISPATCH table[] = {
        ULMARO_ENTRY(PROVIDER_TEARDOWN, provider_teardown, destroy<Provider>),
        ULMARO_ENTRY(PROVIDER_QUERY_OPERATION, provider_query_operation, query),
        ULMARO_ENTRY(PROVIDER_GETTABLE_PARAMS, provider_gettable_params, gettable_params),
        ULMARO_ENTRY(PROVIDER_GET_PARAMS, provider_get_params, get_params),
        ULMARO_ENTRY(PROVIDER_GET_CAPABILITIES, provider_get_capabilities, get_capabilities),
        ULMARO_ENTRY(PROVIDER_GET_REASON_STRINGS, provider_get_reason_strings, get_reason_strings),
        {},
    };
    return table;
}

}  // namespace
}  // namespace ulmaro::provider

extern "C" __attribute__((visibility("default"))) int OSSL_provider_init(const OSSL_CORE_HANDLE* handle,
                                                                         const OSSL_DISPATCH* in,
                                                                         const OSSL_DISPATCH** out, void** provctx) {
    using namespace ulmaro::provider;
    auto* const provider = new (std::nothrow) Provider{Core(handle, in), "", {}, {}};
    if (provider == nullptr) return 0;
    // OpenSSL's own code took the empty one before.
    if (provider->core.major_version() >= 4) provider->identity = ulmaro::algrithm::default_user_id;
    SM2_ECC_InitParameter(&provider->curve.parameters(), &provider->group);
    *provctx = provider;
    *out = provider_table();
    return 1;
}
