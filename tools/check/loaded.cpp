#include "tools/check/loaded.h"

#include <fcntl.h>
#include <libxml/parser.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "base/file_descriptor.h"
#include "base/text.h"

// The loaders know one root, pause between devices so that a host's other work goes on, and log to
// files. None of that fits a look at a folder: the program is linked with --wrap for what they
// call.

namespace {

std::string &Root() {
    static std::string root;
    return root;
}

std::vector<std::string> *&LogTarget() {
    static std::vector<std::string> *target = nullptr;
    return target;
}

/// Empty for what would let the parser wait.
std::string Rooted(const char *path) {
    const std::string rooted = Root() + path;
    std::error_code error;
    return std::filesystem::is_regular_file(rooted, error) ? rooted : "";
}

}  // namespace

extern "C" {

xmlDocPtr __real_xmlReadFile(const char *path, const char *encoding, int options);
xmlDocPtr __real_xmlCtxtReadFile(xmlParserCtxtPtr context, const char *path, const char *encoding,
                                 int options);

xmlDocPtr __wrap_xmlReadFile(const char *path, const char *encoding, int options) {
    const std::string rooted = Rooted(path);
    return rooted.empty() ? nullptr : __real_xmlReadFile(rooted.c_str(), encoding, options);
}

xmlDocPtr __wrap_xmlCtxtReadFile(xmlParserCtxtPtr context, const char *path, const char *encoding,
                                 int options) {
    const std::string rooted = Rooted(path);
    return rooted.empty() ? nullptr
                          : __real_xmlCtxtReadFile(context, rooted.c_str(), encoding, options);
}

int __wrap_usleep(useconds_t /*pause*/) {
    return 0;
}

__attribute__((format(printf, 2, 3))) int __wrap_log_Text(int /*level*/, const char *format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vsnprintf(text, sizeof text, format, arguments));
    va_end(arguments);
    if (LogTarget() != nullptr) {
        LogTarget()->emplace_back(text);
    }
    return 0;
}
}

namespace corvenna::check {

namespace {

/// What the loaders print goes nowhere.
class SilentOutput {
public:
    SilentOutput() : own_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
        const FileDescriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
        if (!own_ || !nowhere || std::fflush(stdout) != 0 ||
            dup2(nowhere.Get(), STDOUT_FILENO) < 0) {
            throw std::system_error(errno, std::generic_category(), "/dev/null");
        }
    }
    ~SilentOutput() {
        static_cast<void>(std::fflush(stdout));
        static_cast<void>(dup2(own_.Get(), STDOUT_FILENO));
    }
    SilentOutput(const SilentOutput &) = delete;
    SilentOutput &operator=(const SilentOutput &) = delete;

private:
    const FileDescriptor own_;
};

/// The settings' loader looks for it at its real place alone.
void ReadVersion(ST_GATEWAY_INFO &info) {
    std::ifstream stream(Root() + "/quorvane/Config/version/main-version.conf");
    std::string line;
    if (std::getline(stream, line)) {
        line += stream.eof() ? "" : "\n";
        CopyText<100>(info.version, line.c_str());
    }
}

template <class Map>
const Map &MapOf(CChannelSet &channels) {
    Map *map = nullptr;
    channels.GetAttr(&map);
    return *map;
}

template <class Set>
bool Load(Set &set, const char *path) {
    const bool loaded = set.Open(path) == 0;
    static_cast<void>(set.Close());
    return loaded;
}

}  // namespace

bool Loaded::LoadAll() {
    if (!Load(system, "/quorvane/Config/sys.xml")) {
        return false;
    }
    if (!Root().empty()) {
        system.GetGateWayAttr()->version[0] = '\0';
        ReadVersion(*system.GetGateWayAttr());
    }
    return Load(identity, "/quorvane/Config/system/sn.xml") &&
           Load(forwarding_, "/quorvane/Config/forward_config.xml") &&
           Load(channels_, "/quorvane/Config/Channel-template.xml");
}

Loaded::Loaded(const std::string &root) {
    const SilentOutput silent;
    Root() = root;
    LogTarget() = &log_;
    loads_ = LoadAll();
    LogTarget() = nullptr;
}

const MAP_DEV_ATTR &Loaded::Devices() const {
    return MapOf<MAP_DEV_ATTR>(channels_);
}

const MAP_POINTID_ATTR &Loaded::Points() const {
    return MapOf<MAP_POINTID_ATTR>(channels_);
}

const MAP_CHANNEL_POINT &Loaded::PointsOfDevices() const {
    return MapOf<MAP_CHANNEL_POINT>(channels_);
}

std::vector<ForwardedPoint> Loaded::Forwarded() const {
    std::vector<ForwardedPoint> forwarded;
    for (const auto &[forwardChannel, channels] : forwarding_.GetForwardMap()) {
        for (const auto &[channel, devices] : channels) {
            for (const auto &[address, points] : devices) {
                for (const auto &[name, id] : points) {
                    forwarded.push_back({forwardChannel, channel, address, name, id});
                }
            }
        }
    }
    return forwarded;
}

unsigned Loaded::SerialNumber() const {
    unsigned int number = 0;
    identity.GetSn(&number);
    return number;
}

}  // namespace corvenna::check
