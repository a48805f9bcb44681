#include "tools/gateway/report.h"

#include <sys/ioctl.h>
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
constexpr std::size_t kMessageBytes = 2048;

constexpr const char *kHome = "\x1b[H";
constexpr const char *kEraseLine = "\x1b[K\n";
constexpr const char *kEraseBelow = "\x1b[J";
constexpr const char *kBold = "\x1b[1m";
constexpr const char *kPlain = "\x1b[0m";

__attribute__((format(printf, 1, 0))) std::string Print(const char *format, va_list arguments) {
    char text[kMessageBytes];
    static_cast<void>(std::vsnprintf(text, sizeof text, format, arguments));
    return text;
}

/// Rows of a table that is drawn over the one before, cut to the terminal so that none wraps.
class Screen {
public:
    explicit Screen(int terminal) : text_(kHome) {
        winsize size{};
        if (ioctl(terminal, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
            columns_ = size.ws_col;
        }
    }

    __attribute__((format(printf, 2, 3))) void Row(const char *format, ...) {
        va_list arguments;
        va_start(arguments, format);
        text_ += Print(format, arguments).substr(0, columns_) + kEraseLine;
        va_end(arguments);
    }
    void BoldRow(const std::string &row) {
        text_ += kBold + row.substr(0, columns_) + kPlain + kEraseLine;
    }

    std::string Text() const { return text_ + kEraseBelow; }

private:
    std::string text_;
    std::size_t columns_ = 80;
};

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

std::string Printable(const std::string &text) {
    constexpr unsigned char kFirstPrintable = 0x20;
    constexpr unsigned char kDelete = 0x7F;
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        // The second half of what UTF-8 makes of the control characters from 0x80 to 0x9F.
        const bool isHigh = i > 0 && text[i - 1] == '\xC2' && byte >= 0x80 && byte < 0xA0;
        if (byte >= kFirstPrintable && byte != kDelete && !isHigh) {
            result += text[i];
            continue;
        }
        char escaped[8];
        static_cast<void>(std::snprintf(escaped, sizeof escaped, "\\x%02x", unsigned{byte}));
        result += byte == '\n' ? "\\n" : escaped;
    }
    return result;
}

std::string DurationText(Clock::duration duration) {
    const auto seconds = std::chrono::duration<double>(duration).count();
    char text[32];
    if (seconds < 10) {
        static_cast<void>(std::snprintf(text, sizeof text, "%.3g s", seconds));
    } else if (seconds < 600) {
        static_cast<void>(std::snprintf(text, sizeof text, "%.0f s", seconds));
    } else if (seconds < 36000) {
        static_cast<void>(std::snprintf(text, sizeof text, "%.0f min", seconds / 60));
    } else {
        static_cast<void>(std::snprintf(text, sizeof text, "%.0f h", seconds / 3600));
    }
    return text;
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
    const std::string line =
        TimeOf(std::time(nullptr)) + (isError ? "  ERROR  " : "  ") + Printable(text);
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
    char title[kMessageBytes];
    static_cast<void>(std::snprintf(
        title, sizeof title, "corvenna-gateway %s   up %02d:%02d:%02d   %g times speed",
        facts.serial.c_str(), static_cast<int>(up / 3600), static_cast<int>(up / 60 % 60),
        static_cast<int>(up % 60), facts.speed));
    Screen screen(output_);
    screen.BoldRow(title);
    screen.Row("server     %s, %s", facts.server.c_str(),
               counters.registered ? "registered" : "not registered");
    screen.Row("source     %s", facts.source.c_str());
    screen.Row("%s", "");
    screen.Row("samples    %8" PRIu64 " taken    %8" PRIu64 " produced %8" PRIu64 " arrived",
               counters.sampled.load(), counters.produced.load(), counters.sent.load());
    screen.Row("waiting    %8" PRIu64 " samples  %8zu files    %8" PRIu64 " KiB",
               facts.waitingSamples, facts.waitingFiles, (facts.waitingBytes + 1023) / 1024);
    screen.Row("alarms     %8" PRIu64 " raised   %8zu active   %8" PRIu64 " files arrived",
               counters.alarms.load(), facts.activeAlarms, counters.alarmFiles.load());
    screen.Row(
        "recalls    %8" PRIu64 " served   %8" PRIu64 " samples sent again %5" PRIu64 " to go",
        counters.recallsServed.load(), counters.samplesRecalled.load(), counters.recallLeft.load());
    screen.Row("downloads  %8" PRIu64 "%s", counters.downloads.load(),
               counters.downloading ? " running" : "");
    screen.Row("trouble    %8" PRIu64 " failures %8" PRIu64 " dropped", counters.failures.load(),
               counters.dropped.load());
    screen.Row("%s", "");
    const std::lock_guard lock(mutex_);
    for (const std::string &message : messages_) {
        screen.Row("%s", message.c_str());
    }
    for (const std::string &error : errors_) {
        screen.BoldRow(error);
    }
    WriteAll(output_, screen.Text());
}

}  // namespace corvenna::gateway
