#include "plugin/callbacks.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "base/process_end.h"
#include "config/sys_set.h"
#include "log/log.h"
#include "message/parse_memory.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"

namespace corvenna {
namespace {

constexpr std::size_t kMostParsed = 8UL * 1024 * 1024;

/// What has been parsed of the answer to one exchange.
struct ParsedAnswer {
    std::size_t length = 0;
    bool ended = false;       ///< the rest is ignored
    bool incomplete = false;  ///< memory was short
};
ParsedAnswer gRecalls;
ParsedAnswer gOffers;

/// Logs a block, which carries no NUL, by a terminated copy. The copy takes whatever libcurl hands
/// over at once, several times what an entry of the log shows, and no memory that may be short.
void LogBlock(const char *data, std::size_t length) {
    constexpr std::size_t kLongestBlock = 16384;
    char block[kLongestBlock + 1];
    *std::copy_n(data, std::min(length, kLongestBlock), block) = '\0';
    log_Text(kLogInfo, "Receive Response:\n%s", block);
}

/// Whether a block still belongs to what is parsed of its answer.
bool Takes(ParsedAnswer &answer, std::size_t length) {
    answer.length += length;
    if (!answer.ended && answer.length > kMostParsed) {
        answer.ended = true;
        log_Text(kLogError, "an answer of more than %zu bytes, the rest is ignored", kMostParsed);
    }
    return !answer.ended;
}

const char *ConfiguredFormat() {
    return GetCSysSetInstance()->GetCloudConfigAttr()->filetype;
}

/// What reads a block into a list of the process.
template <class Record>
using Reader = int (CParseMemory::*)(const char *format, const char *data, int length,
                                     std::vector<Record> *list, bool &cut);

/// Logs a block and appends what a terminated copy of it holds, if there is a list.
template <class Record>
void Receive(ParsedAnswer &answer, const char *data, std::size_t length, Reader<Record> read,
             std::vector<Record> *list) noexcept {
    LogBlock(data, length);
    if (list == nullptr || !Takes(answer, length)) {
        return;
    }
    try {
        const std::string block(data, length);
        (GetCParseMemoryInstance()->*read)(ConfiguredFormat(), block.c_str(),
                                           static_cast<int>(block.size()), list, answer.ended);
    } catch (const std::bad_alloc &error) {
        answer.incomplete = true;
        log_Text(kLogError, "Response not understood: %s", error.what());
    } catch (const std::exception &error) {
        log_Text(kLogError, "Response not understood: %s", error.what());
    }
}

}  // namespace

void BeginRecalls() {
    gRecalls = {};
}

void BeginOffers() {
    gOffers = {};
}

bool RecallsAreIncomplete() {
    return gRecalls.incomplete;
}

std::size_t IgnoreResponse(char *, std::size_t size, std::size_t count, void *) {
    return size * count;
}

std::size_t LogResponse(char *data, std::size_t size, std::size_t count, void *) {
    LogBlock(data, size * count);
    return size * count;
}

std::size_t ParseRecalls(char *data, std::size_t size, std::size_t count, void *) {
    Receive(gRecalls, data, size * count, &CParseMemory::ReadRecallTimeFromMemory, gPRecalltime);
    return size * count;
}

std::size_t ParseOffers(char *data, std::size_t size, std::size_t count, void *) {
    Receive(gOffers, data, size * count, &CParseMemory::ReadDownFileFromMemory, gPDownFile);
    return size * count;
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
