#include "tests/support/log_capture.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <ostream>
#include <utility>

namespace {

using corvenna::test::LogEntry;

std::mutex gMutex;
bool gCapturing = false;
// Never destroyed: a thread may still log while the process ends.
auto &gText = *new std::vector<LogEntry>;
auto &gDatabase = *new std::vector<LogEntry>;
auto &gOnText = *new std::function<void(const LogEntry &)>;

__attribute__((format(printf, 1, 0))) std::string Format(const char *format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

void Add(std::vector<LogEntry> &entries, int level, std::string text) {
    const std::lock_guard<std::mutex> lock(gMutex);
    if (gCapturing) {
        entries.push_back({level, std::move(text)});
    }
}

std::function<void(const LogEntry &)> OnText() {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gCapturing ? gOnText : nullptr;
}

}  // namespace

extern "C" {

__attribute__((format(printf, 2, 3))) int __wrap_log_Text(int level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const LogEntry entry{level, Format(format, arguments)};
    va_end(arguments);
    Add(gText, level, entry.text);
    if (const auto action = OnText()) {
        action(entry);
    }
    return 1;
}

__attribute__((format(printf, 2, 3))) int __wrap_log_DB(int level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Add(gDatabase, level, Format(format, arguments));
    va_end(arguments);
    return 1;
}
}

namespace corvenna::test {

void PrintTo(const LogEntry &entry, std::ostream *stream) {
    *stream << "level " << entry.level << ": \"" << entry.text << '"';
}

LogCapture::LogCapture() {
    const std::lock_guard<std::mutex> lock(gMutex);
    gCapturing = true;
    gText.clear();
    gDatabase.clear();
    gOnText = nullptr;
}

LogCapture::~LogCapture() {
    const std::lock_guard<std::mutex> lock(gMutex);
    gCapturing = false;
}

std::vector<LogEntry> LogCapture::Text() const {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gText;
}

void LogCapture::OnText(std::function<void(const LogEntry &)> action) {
    const std::lock_guard<std::mutex> lock(gMutex);
    gOnText = std::move(action);
}

std::vector<LogEntry> LogCapture::Database() const {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gDatabase;
}

}  // namespace corvenna::test
