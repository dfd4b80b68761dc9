// What OpenSSL holds pointers to: one Provider for each time that it is loaded, and the objects made through it.
#pragma once

#include <string_view>

#include "UlmaroAlgrithm.hpp"
#include "errors.hpp"

namespace ulmaro::provider {

struct Provider {
    Core core;
    std::string_view identity;  // of signers that are given none
    algrithm::Curve curve;
    ec_group_st group;  // the same, for what the class Curve does not do: decrypt without a word
};

/// Base of all other objects, which never outlive their provider.
struct Object {
    explicit Object(const Provider& made_through) noexcept : provider(made_through) {}

    const Provider& provider;
};

inline const Core& core_of(const Provider& provider) noexcept { return provider.core; }
inline const Core& core_of(const Object& object) noexcept { return object.provider.core; }

}  // namespace ulmaro::provider
