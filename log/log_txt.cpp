#include "log/log_txt.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>

#include "base/file_descriptor.h"
#include "base/handle.h"
#include "base/local_time.h"
#include "base/text.h"

namespace {

using namespace corvenna;

constexpr int kDayFileBytes = 1048576;

using Directory = std::unique_ptr<DIR, FreedBy<closedir>>;

FileDescriptor OpenDayFile(const char *name) {
    // On purpose: 0400. The process runs as the superuser, who can append to such a file again.
    // Ours: O_CLOEXEC, so that no shell of an installation inherits it; O_NOCTTY, so that no
    // terminal becomes the host's own and ends it when it is hung up.
    FileDescriptor file(open(name, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0400));
    struct stat status {};
    // Ours: a pipe in the file's place would fill up, or a terminal be stopped, and hold the writer
    // for ever.
    if (file && ((fstat(file.Get(), &status) == 0 && S_ISFIFO(status.st_mode)) ||
                 isatty(file.Get()) != 0)) {
        file.Close();
    }
    return file;
}

/// Named after today, not after the entries: what is queued before midnight and written after it
/// lands in the new day's file.
template <std::size_t Size>
void NameDayFile(char (&name)[Size]) {
    const std::tm today = LocalTime(std::time(nullptr)).value_or(std::tm{});
    PrintText(AllOf(name), "%s/%02d%02d_log.txt", kLogDirectory, today.tm_mon + 1, today.tm_mday);
}

void WriteEntry(int descriptor, const ST_TXT_LOG_NODE &entry) {
    char line[2048];
    const int length = std::snprintf(line, sizeof line, "%s %s logType:%s\n %s\n", entry.date,
                                     entry.time, entry.type, entry.text);
    const auto bytes = std::min(static_cast<std::size_t>(length), sizeof line - 1);
    // An entry that the disk does not take is lost, as the log must go on.
    [[maybe_unused]] const ssize_t written = write(descriptor, line, bytes);
}

bool MakeMissing(const char *directory) {
    if (access(directory, F_OK) == 0) {
        return true;
    }
    return (errno == ENOENT || errno == ENOTDIR) && mkdir(directory, 0755) == 0;
}

}  // namespace

CLogTxt::CLogTxt() = default;

CLogTxt::~CLogTxt() {
    FinishUntil(Deadline(kFinishSeconds));
}

int CLogTxt::Init() {
    StartAgainAfterFork();
    CreateDirectory(kLogDirectory);
    return 0;
}

bool CLogTxt::WriteBatch(LogBatch<ST_TXT_LOG_NODE> &batch, std::unique_lock<Mutex> &queueLock,
                         const Deadline *end) {
    CreateDirectory(kLogDirectory);
    char name[63];
    NameDayFile(name);
    const std::unique_lock<Mutex> fileLock(LockStore(end));
    if (!fileLock.owns_lock()) {
        return false;
    }
    FileDescriptor file = OpenDayFile(name);
    if (!file) {
        std::printf("Open %s failed\n", name);
        return false;
    }
    // Looked at once: a batch may carry the file past the limit, the next one is dropped.
    if (GetFileSize(name) > kDayFileBytes) {
        batch.Clear();
        return true;
    }
    for (std::size_t count = batch.Count(); count > 0; --count) {
        ST_TXT_LOG_NODE entry;
        batch.Take(entry);
        WriteEntry(file.Get(), entry);
    }
    queueLock.unlock();
    file.Close();
    CheckSizeAndClear();
    return true;
}

int CLogTxt::CreateDirectory(const char *path) {
    if (path == nullptr) {
        return -1;
    }
    char copy[128];
    CopyText<127>(copy, path);
    const std::size_t length = std::strlen(copy);
    if (length == 0 || copy[length - 1] != '/') {
        copy[length] = '/';
        copy[length + 1] = '\0';
    }
    for (char *slash = std::strchr(copy + 1, '/'); slash != nullptr;
         slash = std::strchr(slash + 1, '/')) {
        *slash = '\0';
        if (!MakeMissing(copy)) {
            return -1;
        }
        *slash = '/';
    }
    return 0;
}

int CLogTxt::GetFileSize(const char *file) {
    struct stat status {};
    if (file == nullptr || stat(file, &status) != 0) {
        return 0;
    }
    return static_cast<int>(std::min<long long>(status.st_size, INT_MAX));
}

int CLogTxt::GetFirstLogTxt(char *name, unsigned char capacity) {
    const Directory directory(opendir(kLogDirectory));
    if (directory == nullptr) {
        return -1;
    }
    int count = 0;
    auto smallest = UINT_MAX;
    while (const dirent *entry = readdir(directory.get())) {
        const auto number = static_cast<unsigned>(Decimal(entry->d_name));
        if (number != 0) {
            ++count;
            smallest = std::min(smallest, number);
        }
    }
    if (count > 0 && name != nullptr) {
        std::snprintf(name, capacity, "%s/%04d_log.txt", kLogDirectory, static_cast<int>(smallest));
    }
    return count;
}

int CLogTxt::CheckSizeAndClear() {
    char name[128] = "";
    const int count = GetFirstLogTxt(name, sizeof name);
    if (count <= fileCap_) {
        return count < 0 ? -1 : 0;
    }
    // On purpose: by month and day alone. After New Year the new year's files go first.
    return unlink(name);
}
