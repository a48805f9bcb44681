// The list of offers into the download thread's decisions: it comes in several blocks, in part of
// the runs an allocation fails, and the commands for the shell are looked at instead of run.
// Whatever a server sends, each must be one of the four with nothing but plain words in it.
//
// An input is two bytes and the list. The first: 1 XML, 2 the list also goes to DealDownFile as it
// is, 4 to 128 the size of the blocks; the second: which allocation fails, 0 none.

#include <curl/curl.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/text.h"
#include "config/sys_set.h"
#include "message/records.h"
#include "plugin/callbacks.h"
#include "plugin/download.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/support/fuzz_memory.h"

namespace {

constexpr char kCard[] = "/media/mmcblk0p1/";
constexpr char kSpecial[] = " \t\n\r\v\f\"'`$;|&<>()*?[]#\\{}";
constexpr char kDigest[] = "0123456789abcdef0123456789abcdef";

std::string gList;
std::size_t gBlock = 0;
bool gIsAsked = false;

[[noreturn]] void Wrong(const char *what, const std::string &text) {
    std::fprintf(stderr, "%s: %s\n", what, text.c_str());
    std::abort();
}

void ExpectWord(const std::string &word, const std::string &command) {
    if (word.empty() || word[0] == '-' || word[0] == '~' ||
        word.find_first_of(kSpecial) != std::string::npos) {
        Wrong("not a plain word in a command", command);
    }
}

/// What stands between two texts of a command.
bool Between(const std::string &command, const std::string &front, const std::string &behind,
             std::string &middle) {
    const std::size_t end = command.rfind(behind);
    if (command.compare(0, front.size(), front) != 0 || end == std::string::npos ||
        end < front.size()) {
        return false;
    }
    middle = command.substr(front.size(), end - front.size());
    return true;
}

void ExpectPlain(const std::string &command) {
    std::string word;
    if (Between(command, "cd /media/mmcblk0p1 &&unzip ", "&& let s=", word) ||
        Between(command, "cd /media/mmcblk0p1&&mv ", " config.conf&&zip -j", word)) {
        ExpectWord(word, command);
        return;
    }
    std::string from;
    std::string to;
    const bool digests = Between(command, "md5sum ", " > ", from);
    if (!digests && !Between(command, "cp -rf ", " ", from)) {
        Wrong("not a command of ours", command);
    }
    to = command.substr(command.rfind(' ') + 1);
    ExpectWord(from, command);
    // The longest digest command is cut in its second word.
    if (!digests || command.size() < 511) {
        ExpectWord(to, command);
    }
}

}  // namespace

extern "C" {
int __real_unlink(const char *path);
int __wrap_unlink(const char *path);
CURLcode __wrap_curl_easy_perform(CURL *curl);
bool __wrap__ZN8corvenna10RunInShellEPKc(const char *command);
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

// Nothing but what lies on the card itself goes.
int __wrap_unlink(const char *path) {
    const bool onCard = std::strncmp(path, kCard, sizeof kCard - 1) == 0 &&
                        std::strchr(path + sizeof kCard - 1, '/') == nullptr;
    return onCard ? __real_unlink(path) : -1;
}

// The first request of a thread is the one for the list.
CURLcode __wrap_curl_easy_perform(CURL * /*curl*/) {
    for (std::size_t at = 0; gIsAsked && at < gList.size(); at += gBlock) {
        std::string block = gList.substr(at, gBlock);
        corvenna::ParseOffers(block.data(), 1, block.size(), nullptr);
    }
    gIsAsked = false;
    return CURLE_OK;
}

// A digest is as expected where the name says so, so that the installation is reached.
bool __wrap__ZN8corvenna10RunInShellEPKc(const char *command) {
    const std::string text = command;
    ExpectPlain(text);
    std::string local;
    if (Between(text, "md5sum ", " > ", local) && text.size() < 511 &&
        local.find(kDigest) != std::string::npos) {
        if (std::FILE *file = std::fopen((local + ".md5").c_str(), "w")) {
            std::fputs(kDigest, file);
            std::fclose(file);
        }
    }
    return true;
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    ST_CLOUDSERVER_CONFIG_ATTR &cloud = *GetCSysSetInstance()->GetCloudConfigAttr();
    corvenna::CopyText<63>(cloud.cloudip, "127.0.0.1");
    corvenna::CopyText<15>(cloud.filetype, (data[0] & 1U) != 0 ? "xml" : "json");
    gList.assign(reinterpret_cast<const char *>(data) + 2, size - 2);
    gBlock = (data[0] >> 2U) != 0 ? (data[0] >> 2U) * std::size_t{8} : gList.size() + 1;
    gIsAsked = true;
    static_cast<void>(pthread_mutex_trylock(&down_file_mutex));  // as whoever starts a thread
    if (data[1] != 0) {
        const corvenna::test::FuzzMemory memory(data[1]);
        DownFile(nullptr);
    } else {
        DownFile(nullptr);
    }
    if (pthread_mutex_trylock(&down_file_mutex) != 0) {
        Wrong("the mutex is held", gList);
    }
    if ((data[0] & 2U) != 0) {
        std::vector<down_file_para> offers;
        gPDownFile = &offers;
        corvenna::BeginOffers();
        corvenna::ParseOffers(gList.data(), 1, gList.size(), nullptr);
        for (const down_file_para &offer : offers) {
            DealDownFile(&offer, offer.md5);
        }
    }
    return 0;
}
}
