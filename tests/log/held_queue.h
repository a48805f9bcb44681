#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <list>

#include "log/log_database.h"
#include "tests/log/rows.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/pauses.h"

namespace corvenna::test {

/// Calls a function while a batch holds a sink's queue: one that waits for a locked database. Needs
/// a test program linked with WRAP usleep.
inline void WhileTheQueueIsHeld(CLogDatabase &sink, const std::function<void()> &function) {
    ASSERT_EQ(0, sink.LogTableCreate(nullptr));
    const Database reader = OpenDatabase();
    Execute(reader.get(), "BEGIN EXCLUSIVE");
    PauseRecorder pauses;
    bool called = false;
    pauses.OnPause([&] {
        if (!called) {
            called = true;
            function();
        }
    });
    std::list<ST_LOG_NODE> batch(1);
    Printed([&] { EXPECT_EQ(0, sink.WriteLog(&batch)); });
    EXPECT_TRUE(called);
    Execute(reader.get(), "COMMIT");
}

}  // namespace corvenna::test
