// What a call prints on standard output.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace ulmaro::test {

template <class Call>
std::string printed_by(Call&& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

}  // namespace ulmaro::test
