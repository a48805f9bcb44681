#include "plugin/entry_point.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(EntryPoint, HandsItsResultOn) {
    const LogCapture log;
    EXPECT_EQ(Guarded("Call", [] { return 7; }), 7);
    EXPECT_THAT(log.Text(), IsEmpty());
}

TEST(EntryPoint, WhatIsThrownIsItsFailureWithOneMessage) {
    const LogCapture log;
    EXPECT_EQ(Guarded("Call", []() -> int { throw std::bad_alloc(); }), -1);
    EXPECT_THAT(log.Text(), ElementsAre(LogEntry{5, "Call: std::bad_alloc"}));
}

}  // namespace
}  // namespace corvenna::test
