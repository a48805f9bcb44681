#include "log/log_queue.h"

#include <gtest/gtest.h>

#include <string>

#include "log/log_txt.h"
#include "tests/log/pages.h"

namespace corvenna::test {
namespace {

LogHeader Header(std::size_t length) {
    return {{"2024-03-05", "07:08:09"}, "INFO", static_cast<std::uint16_t>(length)};
}

void Append(LogQueue &queue, const std::string &text) {
    queue.Append(Header(text.size()), text.c_str());
}

/// The next entry as "date time type text".
std::string Next(LogQueue &queue) {
    ST_TXT_LOG_NODE node;
    QueuedEntries<ST_TXT_LOG_NODE, TextFields>(queue).Take(node);
    return std::string(node.date) + ' ' + node.time + ' ' + node.type + ' ' + node.text;
}

/// Appends until one is dropped. @return how many were taken.
std::size_t Fill(LogQueue &queue, const std::string &text) {
    for (;;) {
        const std::size_t before = queue.Count();
        Append(queue, text);
        if (queue.Count() == before) {
            return before;
        }
    }
}

TEST(LogQueue, GivesEntriesInTheirOrder) {
    LogQueue queue;
    Append(queue, "first");
    Append(queue, "");
    Append(queue, std::string(2046, 'l'));
    EXPECT_EQ(3U, queue.Count());
    EXPECT_EQ("2024-03-05 07:08:09 INFO first", Next(queue));
    EXPECT_EQ("2024-03-05 07:08:09 INFO ", Next(queue));
    EXPECT_EQ("2024-03-05 07:08:09 INFO " + std::string(2046, 'l'), Next(queue));
    EXPECT_EQ(0U, queue.Count());
}

TEST(LogQueue, AnEntryCostsAtMost64BytesMoreThanItsText) {
    for (const std::size_t length : {0U, 1U, 95U, 254U, 2046U}) {
        LogQueue queue;
        const std::size_t taken = Fill(queue, std::string(length, 'x'));
        EXPECT_LE(Pages::HeldBytes(), 16777216U);
        EXPECT_GE(taken * (length + 64), Pages::HeldBytes()) << length;
    }
}

TEST(LogQueue, WhatDidNotFitIsToldOnceBeforeTheNextThatDoes) {
    LogQueue queue;
    Fill(queue, std::string(1000, 'f'));  // dropped one
    for (int i = 0; i < 41; ++i) {
        Append(queue, std::string(1000, 'd'));
    }
    queue.Clear();
    Append(queue, "next");
    Append(queue, "and next");
    EXPECT_EQ(3U, queue.Count());
    EXPECT_EQ("2024-03-05 07:08:09 WARN 42 log messages were dropped", Next(queue));
    EXPECT_EQ("2024-03-05 07:08:09 INFO next", Next(queue));
    EXPECT_EQ("2024-03-05 07:08:09 INFO and next", Next(queue));
}

TEST(LogQueue, WhereTheNumberDoesNotFitTheEntryIsDroppedToo) {
    LogQueue queue;
    Fill(queue, std::string(1000, 'f'));  // dropped one, and 50 bytes are left
    const std::size_t full = queue.Count();
    Append(queue, "");
    Append(queue, "");
    EXPECT_EQ(full, queue.Count()) << "alone, one of these would have fitted";
    queue.Clear();
    Append(queue, "next");
    EXPECT_EQ("2024-03-05 07:08:09 WARN 3 log messages were dropped", Next(queue));
}

TEST(LogQueue, WhatFoundNoMemoryIsToldToo) {
    LogQueue queue;
    Pages::Refuse(true);
    Append(queue, "lost");
    Append(queue, "lost");
    EXPECT_EQ(0U, queue.Count());
    Pages::Refuse(false);
    Append(queue, "kept");
    EXPECT_EQ("2024-03-05 07:08:09 WARN 2 log messages were dropped", Next(queue));
    EXPECT_EQ("2024-03-05 07:08:09 INFO kept", Next(queue));
}

TEST(LogQueue, AClearedQueueIsEmpty) {
    LogQueue queue;
    Append(queue, "a");
    Append(queue, "b");
    queue.Clear();
    EXPECT_EQ(0U, queue.Count());
    Append(queue, "c");
    EXPECT_EQ("2024-03-05 07:08:09 INFO c", Next(queue));
}

}  // namespace
}  // namespace corvenna::test
