// What goes wrong, and how OpenSSL hears of it.
#pragma once

#include <openssl/core_dispatch.h>
#include <openssl/err.h>
#include <openssl/proverr.h>

namespace ulmaro::provider {

/// Numbers of the messages in errors.cpp, or OpenSSL's own where programs tell by the number what has happened.
enum class Reason : unsigned {
    other = 1,
    no_memory,
    bad_parameter,
    not_sm3,
    not_the_curve,
    not_the_form,
    bad_point,
    bad_scalar,
    key_mismatch,
    key_incomplete,
    bad_length,
    bad_encoding,
    not_authentic,
    identity_too_late,
    identity_too_long,
    message_too_long,
    message_empty,
    small_buffer,
    not_initialised,
    no_key = ERR_PACK(ERR_LIB_PROV, 0, PROV_R_NO_KEY_SET),
    incomplete_block = ERR_PACK(ERR_LIB_PROV, 0, PROV_R_WRONG_FINAL_BLOCK_LENGTH),
    bad_padding = ERR_PACK(ERR_LIB_PROV, 0, PROV_R_BAD_DECRYPT),
};

/// The messages, as OpenSSL asks for them.
const OSSL_ITEM* reason_strings() noexcept;

/// Ends an operation. Thrown by require(), reported by the wrapper around each callback.
struct Refusal {
    Reason reason;
    const char* function;  // no file or line, which would depend on where the module was built; may be null
};

inline void require(bool condition, Reason otherwise, const char* function = __builtin_FUNCTION()) {
    if (!condition) throw Refusal{otherwise, function};
}

/// OpenSSL's side of one loaded provider. A process may hold several copies of OpenSSL, and each any number of library
/// contexts, all of which share this module: nothing of it is global.
class Core {
public:
    Core(const OSSL_CORE_HANDLE* handle, const OSSL_DISPATCH* upcalls) noexcept;

    /// Of the OpenSSL that loads this: 3, 4; 0 when it does not say.
    int major_version() const noexcept;

    /// Puts the exception that is being handled on OpenSSL's error queue.
    void report_exception() const noexcept;

private:
    void raise(const Refusal& refusal, const char* format, ...) const noexcept;

    const OSSL_CORE_HANDLE* handle_;
    OSSL_FUNC_core_get_params_fn* get_params_ = nullptr;
    OSSL_FUNC_core_new_error_fn* new_error_ = nullptr;
    OSSL_FUNC_core_set_error_debug_fn* set_error_debug_ = nullptr;
    OSSL_FUNC_core_vset_error_fn* vset_error_ = nullptr;
};

}  // namespace ulmaro::provider
