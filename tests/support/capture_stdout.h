#pragma once

#include <gtest/gtest.h>

#include <string>

namespace corvenna::test {

/// What a function prints to standard output.
template <class Function>
std::string Printed(Function function) {
    testing::internal::CaptureStdout();
    function();
    return testing::internal::GetCapturedStdout();
}

}  // namespace corvenna::test
