#include "tools/gateway/report.h"

#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace corvenna::gateway {

namespace {

constexpr std::size_t kMessagesShown = 8;
constexpr std::size_t kErrorsShown = 3;
constexpr std::size_t kMessageBytes = 512;
constexpr std::size_t kRowBytes = 256;

constexpr const char *kHome = "\x1b[H";
constexpr const char *kEraseLine = "\x1b[K\n";
constexpr const char *kEraseBelow = "\x1b[J";
constexpr const char *kBold = "\x1b[1m";
constexpr const char *kPlain = "\x1b[0m";

std::string Print(const char *format, va_list arguments) {
    char text[kMessageBytes];
    static_cast<void>(std::vsnprintf(text, sizeof text, format, arguments));
    return text;
}

__attribute__((format(printf, 2, 3))) void Row(std::string &screen, const char *format, ...) {
    char row[kRowBytes];
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vsnprintf(row, sizeof row, format, arguments));
    va_end(arguments);
    screen += row;
    screen += kEraseLine;
}

std::string Clip(const std::string &text) {
    constexpr std::size_t kColumns = 100;
    return text.size() <= kColumns ? text : text.substr(0, kColumns);
}

}  // namespace

void WriteAll(int descriptor, const std::string &text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(descriptor, text.data() + done, text.size() - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        done += static_cast<std::size_t>(written);
    }
}

std::string TimeOf(std::time_t time) {
    std::tm local{};
    char text[32] = "";
    if (localtime_r(&time, &local) != nullptr) {
        static_cast<void>(std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local));
    }
    return text;
}

Report::Report(int output, Form form) : output_(output), form_(form) {
    if (form_ == Form::kTable) {
        WriteAll(output_, std::string(kHome) + kEraseBelow);
    }
}

void Report::Say(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Add(messages_, Print(format, arguments), false);
    va_end(arguments);
}

void Report::Complain(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Add(errors_, Print(format, arguments), true);
    va_end(arguments);
}

void Report::Add(std::deque<std::string> &list, const std::string &text, bool isError) {
    const std::string line = TimeOf(std::time(nullptr)) + (isError ? "  ERROR  " : "  ") + text;
    const std::lock_guard lock(mutex_);
    list.push_back(line);
    if (list.size() > (isError ? kErrorsShown : kMessagesShown)) {
        list.pop_front();
    }
    if (form_ == Form::kLines) {
        WriteAll(output_, line + "\n");
    }
}

void Report::Draw(const StatusFacts &facts) {
    if (form_ != Form::kTable) {
        return;
    }
    const auto up = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start_).count();
    std::string screen = kHome;
    Row(screen, "%scorvenna-gateway %s%s   up %02d:%02d:%02d   %s times speed", kBold,
        facts.serial.c_str(), kPlain, static_cast<int>(up / 3600), static_cast<int>(up / 60 % 60),
        static_cast<int>(up % 60), std::to_string(facts.speed).substr(0, 5).c_str());
    Row(screen, "server     %s, %s", facts.server.c_str(),
        counters.registered ? "registered" : "not registered yet");
    Row(screen, "source     %s", facts.source.c_str());
    Row(screen, "%s", "");
    Row(screen, "samples    %8" PRIu64 " taken    %8" PRIu64 " produced %8" PRIu64 " arrived",
        counters.sampled.load(), counters.produced.load(), counters.sent.load());
    Row(screen, "waiting    %8" PRIu64 " samples  %8zu files    %8" PRIu64 " KiB",
        facts.waitingSamples, facts.waitingFiles, (facts.waitingBytes + 1023) / 1024);
    Row(screen, "alarms     %8" PRIu64 " raised   %8zu active   %8" PRIu64 " files arrived",
        counters.alarms.load(), facts.activeAlarms, counters.alarmFiles.load());
    Row(screen, "recalls    %8" PRIu64 " served   %8" PRIu64 " samples sent again",
        counters.recallsServed.load(), counters.samplesRecalled.load());
    Row(screen, "downloads  %8" PRIu64 "%s", counters.downloads.load(),
        counters.downloading ? "          running" : "");
    Row(screen, "trouble    %8" PRIu64 " failures %8" PRIu64 " dropped", counters.failures.load(),
        counters.dropped.load());
    Row(screen, "%s", "");
    const std::lock_guard lock(mutex_);
    for (const std::string &message : messages_) {
        Row(screen, "%s", Clip(message).c_str());
    }
    for (const std::string &error : errors_) {
        Row(screen, "%s%s%s", kBold, Clip(error).c_str(), kPlain);
    }
    WriteAll(output_, screen + kEraseBelow);
}

}  // namespace corvenna::gateway
