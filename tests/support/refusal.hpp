// How a call ends.
#pragma once

#include <new>
#include <typeinfo>

namespace ulmaro::test {

enum class Outcome { returned, bad_alloc, bad_array_new_length, other };

/// The exception type is compared exactly: std::bad_array_new_length is a std::bad_alloc too.
template <class Call>
Outcome outcome_of(Call&& call) {
    try {
        call();
    } catch (const std::bad_alloc& e) {
        if (typeid(e) == typeid(std::bad_array_new_length)) return Outcome::bad_array_new_length;
        return typeid(e) == typeid(std::bad_alloc) ? Outcome::bad_alloc : Outcome::other;
    } catch (...) {
        return Outcome::other;
    }
    return Outcome::returned;
}

}  // namespace ulmaro::test
