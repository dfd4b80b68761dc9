// What OpenSSL holds pointers to: one Provider for each time that it is loaded, and the objects made through it.
#pragma once

#include "UlmaroAlgrithm.h"
#include "errors.hpp"

namespace ulmaro::provider {

struct Provider {
    Core core;
    ec_group_st curve;  // the recommended curve, prepared
};

/// Base of all other objects, which never outlive their provider.
struct Object {
    explicit Object(const Provider& made_through) noexcept : provider(made_through) {}

    const Provider& provider;
};

inline const Core& core_of(const Provider& provider) noexcept { return provider.core; }
inline const Core& core_of(const Object& object) noexcept { return object.provider.core; }

}  // namespace ulmaro::provider
