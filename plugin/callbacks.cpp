#include "plugin/callbacks.h"

#include <cstdio>
#include <exception>
#include <string>

#include "config/sys_set.h"
#include "log/log.h"
#include "message/parse_memory.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "plugin/process_end.h"

namespace corvenna {
namespace {

/// Hands a terminated copy of the block to `use` after logging it.
template <class Use>
std::size_t Receive(const char *data, std::size_t length, Use use) noexcept {
    try {
        const std::string block(data, length);
        log_Text(kLogInfo, "Receive Response:\n%s", block.c_str());
        use(block);
    } catch (const std::exception &error) {
        log_Text(kLogError, "Response not understood: %s", error.what());
    }
    return length;
}

const char *ConfiguredFormat() {
    return GetCSysSetInstance()->GetCloudConfigAttr()->filetype;
}

}  // namespace

std::size_t IgnoreResponse(char *, std::size_t size, std::size_t count, void *) {
    return size * count;
}

std::size_t LogResponse(char *data, std::size_t size, std::size_t count, void *) {
    return Receive(data, size * count, [](const std::string &) {});
}

std::size_t ParseRecalls(char *data, std::size_t size, std::size_t count, void *) {
    return Receive(data, size * count, [](const std::string &block) {
        if (gPRecalltime != nullptr) {
            GetCParseMemoryInstance()->ParseRecallTimeFromMemory(
                ConfiguredFormat(), block.c_str(), static_cast<int>(block.size()), gPRecalltime);
        }
    });
}

std::size_t ParseOffers(char *data, std::size_t size, std::size_t count, void *) {
    return Receive(data, size * count, [](const std::string &block) {
        if (gPDownFile != nullptr) {
            GetCParseMemoryInstance()->ParseDownFileFromMemory(
                ConfiguredFormat(), block.c_str(), static_cast<int>(block.size()), gPDownFile);
        }
    });
}

std::size_t ReadFromFile(char *data, std::size_t size, std::size_t count, void *file) {
    return std::fread(data, size, count, static_cast<std::FILE *>(file));
}

std::size_t WriteToFile(char *data, std::size_t size, std::size_t count, void *file) {
    if (IsProcessEnding()) {
        return 0;  // gives a long download up
    }
    return std::fwrite(data, size, count, static_cast<std::FILE *>(file));
}

}  // namespace corvenna
