// Tables of callbacks. OpenSSL's tables hold untyped pointers; here each function is compared with its type in
// core_dispatch.h, its first argument gets its own type, and exceptions become errors.
#pragma once

#include "object.hpp"

namespace ulmaro::provider {

/// Makes `function`, which may throw, a callback of type Type.
template <class Type, auto function>
struct Guarded;

/// The first argument is one of our objects, or null: OpenSSL goes on when a program does after an object could not be
/// made.
template <class Result, class Pointee, class... Rest, class Own, Result (*function)(Own&, Rest...)>
struct Guarded<Result(Pointee*, Rest...), function> {
    static Result call(Pointee* object, Rest... rest) noexcept {
        if (object == nullptr) return Result{};
        Own& own = *static_cast<Own*>(object);
        try {
            return function(own, rest...);
        } catch (...) {
            core_of(own).report_exception();
            return Result{};
        }
    }
};

/// A question to an algorithm, without an object: a refusal stays without a message.
template <int (*function)(OSSL_PARAM*)>
struct Guarded<int(OSSL_PARAM*), function> {
    static int call(OSSL_PARAM* params) noexcept {
        try {
            return function(params);
        } catch (...) {
            return 0;
        }
    }
};

template <class Function>
inline constexpr bool is_noexcept = false;
template <class Result, class... Arguments>
inline constexpr bool is_noexcept<Result (*)(Arguments...) noexcept> = true;

/// An entry of a table. A function that throws nothing is entered as it is.
template <class Type, auto function>
OSSL_DISPATCH entry(int id) noexcept {
    Type* callback;
    if constexpr (is_noexcept<decltype(function)>) {
        callback = static_cast<Type*>(function);
    } else {
        callback = &Guarded<Type, function>::call;
    }
    return {id, reinterpret_cast<void (*)()>(callback)};
}

template <class Own>
void* make(const Provider& provider) {
    return new Own(provider);
}
template <class Own>
void* duplicate(const Own& own) {
    return new Own(own);
}
template <class Own>
void destroy(void* own) noexcept {
    delete static_cast<Own*>(own);
}

}  // namespace ulmaro::provider

/// ULMARO_ENTRY(DIGEST_INIT, digest_init, init): the two names that core_dispatch.h has for a callback, and ours.
#define ULMARO_ENTRY(ID, type, ...) ::ulmaro::provider::entry<OSSL_FUNC_##type##_fn, __VA_ARGS__>(OSSL_FUNC_##ID)
