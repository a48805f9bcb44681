#pragma once

#include <functional>
#include <string>
#include <vector>

namespace corvenna::test {

struct LogEntry {
    int level;
    std::string text;

    bool operator==(const LogEntry &other) const {
        return level == other.level && text == other.text;
    }
};

/// Prints an entry in a failed expectation.
void PrintTo(const LogEntry &entry, std::ostream *stream);

/// Records what the code under test logs instead of queueing it, for as long as it lives. Needs a
/// test program linked with WRAP log_Text log_DB; messages logged without a capture alive are
/// dropped.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    /// The messages given to log_Text so far, whole, in order.
    std::vector<LogEntry> Text() const;
    /// The messages given to log_DB so far.
    std::vector<LogEntry> Database() const;

    /// Has something done at each message for log_Text, by the thread that logs.
    void OnText(std::function<void(const LogEntry &)> action);
};

}  // namespace corvenna::test
