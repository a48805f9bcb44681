#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace corvenna::gateway {

/// Hears what the plug-in logs, as it logs it. The debug echo, which a host can switch on, writes
/// every message to the standard error stream on the thread that logs it: while this lives, that
/// stream ends here. The plug-in's own log is no help for that: it is written seconds later.
class PluginEcho {
public:
    /// Before other threads are started. @param copy gets every message that nobody listens to, and
    /// every one if `all` is set; it is called on any thread.
    PluginEcho(std::function<void(const std::string &)> copy, bool all);
    ~PluginEcho();
    PluginEcho(const PluginEcho &) = delete;
    PluginEcho &operator=(const PluginEcho &) = delete;

private:
    static ssize_t Write(void *self, const char *text, std::size_t size);
    void Hear(const std::string &message) const;

    const std::function<void(const std::string &)> copy_;
    const bool all_;
    std::FILE *const stream_;
    std::FILE *const before_;
};

/// Collects what is logged on this thread.
class Listener {
public:
    Listener();
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    const std::vector<std::string> &Messages() const { return messages_; }

private:
    friend class PluginEcho;
    std::vector<std::string> messages_;
    Listener *const outer_;
};

/// Where the plug-in writes its own log today.
std::string PluginLogPath();

}  // namespace corvenna::gateway
