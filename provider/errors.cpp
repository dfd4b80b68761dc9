#include "errors.hpp"

#include <openssl/core_names.h>

#include <array>
#include <cstdarg>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include "UlmaroAlgrithm.hpp"

namespace ulmaro::provider {
namespace {

OSSL_ITEM item(Reason reason, const char* text) noexcept {
    return {static_cast<unsigned int>(reason), const_cast<char*>(text)};
}

}  // namespace

const OSSL_ITEM* reason_strings() noexcept {
    static const OSSL_ITEM items[] = {
        item(Reason::other, "unexpected failure"),
        item(Reason::no_memory, "out of memory"),
        item(Reason::bad_parameter, "parameter of a wrong type or value"),
        item(Reason::not_sm3, "no other digest than SM3"),
        item(Reason::not_the_curve, "no other curve than SM2"),
        item(Reason::not_the_form, "no keys with explicit curve parameters or without the public half"),
        item(Reason::bad_point, "not a point of the curve"),
        item(Reason::bad_scalar, "private key out of range"),
        item(Reason::key_mismatch, "private and public key do not belong together"),
        item(Reason::key_incomplete, "key without the half that is needed"),
        item(Reason::bad_length, "wrong length"),
        item(Reason::bad_encoding, "not the expected DER"),
        item(Reason::not_authentic, "ciphertext is not authentic"),
        item(Reason::identity_too_late, "distinguishing identifier not before a message"),
        item(Reason::identity_too_long, "distinguishing identifier of more than 8191 bytes"),
        item(Reason::message_too_long, "message too long to encrypt"),
        item(Reason::message_empty, "empty message"),
        item(Reason::small_buffer, "output buffer too small"),
        item(Reason::not_initialised, "operation not initialised"),
        {0, nullptr},
    };
    return items;
}

Core::Core(const OSSL_CORE_HANDLE* handle, const OSSL_DISPATCH* upcalls) noexcept : handle_(handle) {
    for (; upcalls->function_id != 0; ++upcalls) {
        switch (upcalls->function_id) {
            case OSSL_FUNC_CORE_GET_PARAMS:
                get_params_ = OSSL_FUNC_core_get_params(upcalls);
                break;
            case OSSL_FUNC_CORE_NEW_ERROR:
                new_error_ = OSSL_FUNC_core_new_error(upcalls);
                break;
            case OSSL_FUNC_CORE_SET_ERROR_DEBUG:
                set_error_debug_ = OSSL_FUNC_core_set_error_debug(upcalls);
                break;
            case OSSL_FUNC_CORE_VSET_ERROR:
                vset_error_ = OSSL_FUNC_core_vset_error(upcalls);
                break;
            default:
                break;
        }
    }
}

int Core::major_version() const noexcept {
    const char* version = nullptr;
    OSSL_PARAM wanted[] = {{OSSL_PROV_PARAM_CORE_VERSION, OSSL_PARAM_UTF8_PTR, &version, 0, 0}, {}};
    if (get_params_ == nullptr || get_params_(handle_, wanted) != 1 || version == nullptr) return 0;
    return std::atoi(version);
}

void Core::raise(const Refusal& refusal, const char* format, ...) const noexcept {
    if (new_error_ == nullptr || set_error_debug_ == nullptr || vset_error_ == nullptr) return;
    new_error_(handle_);
    std::array<char, 32> function{};  // without template arguments
    const std::string_view name(refusal.function == nullptr ? "" : refusal.function);
    name.substr(0, name.find('<')).copy(function.data(), function.size() - 1);
    set_error_debug_(handle_, "ulmaro.so", 0, function.data());
    va_list arguments;
    va_start(arguments, format);
    vset_error_(handle_, static_cast<unsigned int>(refusal.reason), format, arguments);
    va_end(arguments);
}

void Core::report_exception() const noexcept {
    try {
        throw;
    } catch (const Refusal& refusal) {
        raise(refusal, nullptr);
    } catch (const std::bad_alloc&) {
        raise({Reason::no_memory, nullptr}, nullptr);
    } catch (const algrithm::Error& error) {  // all that is not checked here before is DER
        raise({Reason::bad_encoding, nullptr}, "%s", error.what());
    } catch (const std::exception& error) {
        raise({Reason::other, nullptr}, "%s", error.what());
    } catch (...) {
        raise({Reason::other, nullptr}, nullptr);
    }
}

}  // namespace ulmaro::provider
