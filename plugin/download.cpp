#include "plugin/download.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "base/handle.h"
#include "base/pipe.h"
#include "base/process_end.h"
#include "base/text.h"
#include "log/log.h"
#include "message/pack_memory.h"
#include "plugin/callbacks.h"
#include "plugin/cloud.h"
#include "plugin/endpoints.h"
#include "plugin/entry_point.h"
#include "plugin/install_command.h"
#include "plugin/plugin.h"

std::vector<down_file_para> *gPDownFile = nullptr;
pthread_mutex_t down_file_mutex = PTHREAD_MUTEX_INITIALIZER;

namespace corvenna {
namespace {

// What the server is told of a file.
constexpr int kDiscarded = 0;
constexpr int kBegun = 1;
constexpr int kDone = 2;

constexpr std::size_t kDigestLength = 32;

/// Fetches the list into *gPDownFile. A failure shows as an empty list.
void FetchOffers(const Cloud &cloud) {
    ST_FRAME_MEMORY_UPLOAD request = MemoryRequest(cloud, "GET", ParseOffers);
    PrintOffersUrl(cloud, request.url);
    log_Text(kLogInfo, "start Check down file from %s", request.url);
    BeginOffers();
    Send(cloud, request);
    log_Text(kLogInfo, "Check down file from %s finish", request.url);
}

/// Ours: the server is not trusted. The digest becomes a file's name on the card and a word of
/// shell commands, further texts of the offer do by its type.
bool IsSafe(const down_file_para &offer) {
    const char *name = offer.md5;
    return IsPlainWord(name) && std::strchr(name, '/') == nullptr && std::strcmp(name, ".") != 0 &&
           std::strcmp(name, "..") != 0 && AreInstallWordsPlain(offer);
}

int Report(const char *md5, int status) {
    const Cloud cloud = ReadCloud();
    ST_FRAME_MEMORY_UPLOAD request = MemoryRequest(cloud, "PUT", nullptr);
    if (!SetBodyLength(request,
                       GetCPackMemoryInstance()->CreatePutDownStatusMemory(
                           cloud.settings.filetype, request.body, kBodyCapacity, md5, status))) {
        return -1;
    }
    PrintOffersUrl(cloud, request.url);
    return Send(cloud, request);
}

/// A failure shows as a digest mismatch.
void Fetch(const Cloud &cloud, down_file_para &offer, const char *local) {
    ST_FRAME_FILE_UPLOAD request = FileRequest(cloud, "GET", local);
    request.writeCallback = WriteToFile;
    PrintFileUrl(cloud, offer.file, request.url);
    log_Text(kLogInfo, "start down file from %s", request.url);
    WithClient(cloud, [&](auto &client) { return client.GetDownFile(&request, &offer); });
    log_Text(kLogInfo, "down file from %s finish", request.url);
}

bool MatchesDigest(const char *local, const char *expected) {
    char digest[kDigestLength + 1];
    return std::strcmp(getfilemd5(local, digest), expected) == 0;
}

void Serve(const Cloud &cloud, down_file_para &offer, DownloadSteps &steps) {
    if (!IsSafe(offer)) {
        log_Text(kLogError, "down file %s refused", offer.md5);
        PutFile(offer.md5, kDiscarded);
        return;
    }
    char local[128];
    PrintText(UpTo<127>(local), "/media/mmcblk0p1/%s", offer.md5);
    unlink(local);
    Fetch(cloud, offer, local);
    steps.Next();
    if (MatchesDigest(local, offer.md5)) {
        log_Text(kLogInfo, "compare down file md5 ok");
        DealDownFile(&offer, local);
        steps.Next();
        PutFile(offer.md5, kDone);
    } else {
        log_Text(kLogInfo, "compare down file md5 error,");
        PutFile(offer.md5, kDiscarded);
    }
    unlink(local);
}

int FetchAndServe(std::vector<down_file_para> &offers, DownloadSteps &steps) {
    const Cloud cloud = ReadCloud();
    FetchOffers(cloud);
    for (const down_file_para &offer : offers) {
        steps.Next();
        PutFile(offer.md5, kBegun);
    }
    for (down_file_para &offer : offers) {
        steps.Next();
        Serve(cloud, offer, steps);
    }
    return 0;
}

/// Ours: a shell that writes a file's digest waits at a pipe, in either place. One in the digest's
/// place is taken away.
bool WouldWait(const char *file, const char *digestFile) {
    return IsPipe(file) || (IsPipe(digestFile) && unlink(digestFile) != 0);
}

}  // namespace
}  // namespace corvenna

using namespace corvenna;

void *DownFile(void *) {
    DownloadSteps steps;
    std::vector<down_file_para> offers;
    // On purpose: never cleared; only the next thread reads it, after setting it.
    gPDownFile = &offers;
    Guarded("DownFile", [&] { return FetchAndServe(offers, steps); });
    pthread_mutex_unlock(&down_file_mutex);  // On purpose: locked by whoever started this thread.
    log_Text(kLogInfo, "downfile thread exit");
    return nullptr;
}

int PutFile(const char *md5, int status) {
    return Guarded("PutFile", [&] { return Report(md5, status); });
}

int DealDownFile(const down_file_para *file, const char *local) {
    const std::optional<ShellCommand> command = InstallCommand(*file, local);
    if (command &&
        (!AreInstallWordsPlain(*file) || !IsPlainWord(local) || GoesIntoPipe(*file, local))) {
        log_Text(kLogError, "down file %s not installed", local);
        return -1;
    }
    unlink("/media/mmcblk0p1/update.vpk");
    const int unlinked = unlink("/media/mmcblk0p1/update.xml");
    if (!command) {
        return unlinked;
    }
    if (!RunInShell(command->text)) {
        log_Text(kLogInfo, "start deal file %s", local);
    }
    return unlink(local);
}

char *getfilemd5(const char *file, char *out) {
    out[0] = '\0';
    char digestFile[128];
    PrintText(AllOf(digestFile), "%s.md5", file);
    if (!IsPlainWord(file) || WouldWait(file, digestFile)) {
        log_Text(kLogError, "no digest of %s", file);
        return out;
    }
    if (!RunInShell(DigestCommand(file, digestFile).text)) {
        log_Text(kLogInfo, "start calc md5 for %s", file);
    }
    if (const File digest{std::fopen(digestFile, "r")}) {
        const bool whole = std::fread(out, 1, kDigestLength, digest.get()) == kDigestLength;
        out[whole ? kDigestLength : 0] = '\0';
    }
    unlink(digestFile);
    return out;
}
