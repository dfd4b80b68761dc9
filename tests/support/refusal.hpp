// How a call refuses its input.
#pragma once

#include <new>
#include <typeinfo>

namespace ulmaro::test {

/// The type is compared exactly: std::bad_array_new_length is a std::bad_alloc too.
template <class Exception, class Call>
bool throws(Call&& call) {
    try {
        call();
    } catch (const Exception& e) {
        if (typeid(e) != typeid(Exception)) throw;
        return true;
    }
    return false;
}

/// As for an invalid length.
template <class Call>
bool refused(Call&& call) {
    return throws<std::bad_array_new_length>(call);
}

}  // namespace ulmaro::test
