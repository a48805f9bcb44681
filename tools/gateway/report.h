#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "tools/gateway/spool.h"

namespace corvenna::gateway {

/// What the gateway has done since it started.
struct Counters {
    std::atomic<std::uint64_t> sampled{0};
    std::atomic<std::uint64_t> produced{0};    ///< real-data files
    std::atomic<std::uint64_t> sent{0};        ///< real-data files that arrived
    std::atomic<std::uint64_t> alarms{0};      ///< raised
    std::atomic<std::uint64_t> alarmFiles{0};  ///< that arrived
    std::atomic<std::uint64_t> dropped{0};
    std::atomic<std::uint64_t> failures{0};  ///< of exchanges with the server
    std::atomic<std::uint64_t> heartbeats{0};
    std::atomic<std::uint64_t> recallsServed{0};
    std::atomic<std::uint64_t> samplesRecalled{0};
    std::atomic<std::uint64_t> recallLeft{0};  ///< samples of the range that is being served
    std::atomic<std::uint64_t> downloads{0};
    std::atomic<bool> registered{false};
    std::atomic<bool> downloading{false};
};

/// What a terminal shows beside the counters.
struct StatusFacts {
    std::string serial;
    std::string server;
    std::string source;
    double speed;
    std::size_t waitingFiles;
    std::uint64_t waitingBytes;
    std::uint64_t waitingSamples;
    std::size_t activeAlarms;
};

/// Tells people what happens. On a terminal: a table that is drawn anew, with the last messages
/// and errors below it; elsewhere: one line a message. Several threads may report.
class Report {
public:
    enum class Form { kLines, kTable };

    /// @param output descriptor to write to, borrowed.
    Report(int output, Form form);

    /// Something happened as it should.
    __attribute__((format(printf, 2, 3))) void Say(const char *format, ...);
    /// Something failed.
    __attribute__((format(printf, 2, 3))) void Complain(const char *format, ...);

    bool IsTable() const { return form_ == Form::kTable; }

    /// Draws the table; does nothing for lines.
    void Draw(const StatusFacts &facts);

    Counters counters;

private:
    void Add(std::deque<std::string> &list, const std::string &text, bool isError);

    const int output_;
    const Form form_;
    const Clock::time_point start_ = Clock::now();
    std::mutex mutex_;
    std::deque<std::string> messages_;
    std::deque<std::string> errors_;
};

/// Writes all of a text to a descriptor, as far as it goes.
void WriteAll(int descriptor, const std::string &text);

/// The text with control characters as \xNN, and line ends as \n: it cannot steer a terminal.
std::string Printable(const std::string &text);

/// "30 s", "8 min", "3 h"; three digits of what is less than ten seconds.
std::string DurationText(Clock::duration duration);

/// "2024-03-05 07:08:09" in the process's time zone.
std::string TimeOf(std::time_t time);

}  // namespace corvenna::gateway
