#include "tools/gateway/plugin_echo.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <exception>
#include <system_error>

#include "tools/gateway/report.h"

namespace corvenna::gateway {

namespace {

thread_local Listener *listening = nullptr;

std::FILE *OpenStream(PluginEcho *self, cookie_write_function_t *write) {
    cookie_io_functions_t functions{};
    functions.write = write;
    std::FILE *stream = fopencookie(self, "w", functions);
    if (stream == nullptr || std::setvbuf(stream, nullptr, _IONBF, 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "standard error");
    }
    return stream;
}

}  // namespace

PluginEcho::PluginEcho(std::function<void(const std::string &)> copy, bool all)
    : copy_(std::move(copy)), all_(all), stream_(OpenStream(this, Write)), before_(stderr) {
    stderr = stream_;  // a variable like any other in this C library
}

PluginEcho::~PluginEcho() {
    stderr = before_;
    // Not closed: a detached thread of the plug-in may be in the middle of a message.
}

ssize_t PluginEcho::Write(void *self, const char *text, std::size_t size) {
    // The C library is the caller: nothing may be thrown.
    try {
        static_cast<PluginEcho *>(self)->Hear(std::string(text, size));
    } catch (const std::exception &) {
        return static_cast<ssize_t>(size);  // a message for which there is no memory
    }
    return static_cast<ssize_t>(size);
}

void PluginEcho::Hear(const std::string &message) const {
    // The last words of a process do not come back from here.
    if (message.find("Assertion") != std::string::npos) {
        WriteAll(STDERR_FILENO, message);
    }
    if (listening != nullptr) {
        listening->messages_.push_back(message);
    }
    if (all_ || listening == nullptr) {
        copy_(message);
    }
}

Listener::Listener() : outer_(listening) {
    listening = this;
}

Listener::~Listener() {
    listening = outer_;
}

std::string PluginLogPath() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char path[64] = "/tmp/CloudLog";
    if (localtime_r(&now, &local) != nullptr) {
        static_cast<void>(std::strftime(path, sizeof path, "/tmp/CloudLog/%m%d_log.txt", &local));
    }
    return path;
}

}  // namespace corvenna::gateway
