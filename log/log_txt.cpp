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

#include "base/local_time.h"
#include "base/text.h"
#include "base/thread.h"

namespace {

using corvenna::CopyText;
using corvenna::Mutex;
using corvenna::PrintText;

constexpr char kDirectory[] = "/tmp/CloudLog";
constexpr int kDayFileBytes = 1048576;
constexpr unsigned kWriterPauseSeconds = 5;
constexpr std::time_t kFinishSeconds = 10;

class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~FileDescriptor() { Close(); }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;

    int Get() const { return descriptor_; }
    void Close() {
        if (descriptor_ >= 0) {
            close(descriptor_);
            descriptor_ = -1;
        }
    }

private:
    int descriptor_;
};

struct ClosedDirectory {
    void operator()(DIR *directory) const { closedir(directory); }
};

/// Named after today, not after the entries: what is queued before midnight and written after it
/// lands in the new day's file.
template <std::size_t Size>
void NameDayFile(char (&name)[Size]) {
    const std::tm today = corvenna::LocalTime(std::time(nullptr)).value_or(std::tm{});
    PrintText<Size>(name, "%s/%02d%02d_log.txt", kDirectory, today.tm_mon + 1, today.tm_mday);
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

void *RunWriter(void *self) {
    CLogTxt::RecordThread(self);
    return nullptr;
}

}  // namespace

CLogTxt::CLogTxt() = default;

CLogTxt::~CLogTxt() {
    Finish();
}

int CLogTxt::Init() {
    CreateDirectory(kDirectory);
    return 0;
}

int CLogTxt::InsertLog(const char *type, const char *text) {
    queue_.Append(type != nullptr ? type : "", text != nullptr ? text : "");
    return 0;
}

void CLogTxt::InsertFormatted(const char *type, const char *format, va_list arguments, bool echo) {
    queue_.AppendFormatted(type, format, arguments, echo);
}

void CLogTxt::RecordThread(void *self) {
    auto *sink = static_cast<CLogTxt *>(self);
    for (;;) {
        sink->WriteLog(&sink->queue_.All());
        sleep(kWriterPauseSeconds);
    }
}

int CLogTxt::WriteLog(std::list<ST_TXT_LOG_NODE> *queue) {
    if (queue == nullptr) {
        return -1;
    }
    std::unique_lock<Mutex> queueLock(queue_.Lock());
    return WriteBatch(*queue, queueLock);
}

int CLogTxt::WriteBatch(std::list<ST_TXT_LOG_NODE> &queue, std::unique_lock<Mutex> &queueLock) {
    if (queue.empty()) {
        return -1;
    }
    CreateDirectory(kDirectory);
    char name[63];
    NameDayFile(name);
    const std::lock_guard<Mutex> fileLock(fileMutex_);
    // On purpose: 0400. The process runs as the superuser, who can append to such a file again.
    // Ours: O_CLOEXEC, so that no shell of an installation inherits it.
    FileDescriptor file(open(name, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0400));
    if (file.Get() < 0) {
        std::printf("Open %s failed\n", name);
        return -1;
    }
    // Looked at once: a batch may carry the file past the limit, the next one is dropped.
    if (GetFileSize(name) > kDayFileBytes) {
        Discard(queue);
        return 0;
    }
    for (std::size_t count = queue.size(); count > 0; --count) {
        WriteEntry(file.Get(), queue.front());
        queue_.Retire(queue);
    }
    queueLock.unlock();
    file.Close();
    CheckSizeAndClear();
    return 0;
}

void CLogTxt::Discard(std::list<ST_TXT_LOG_NODE> &queue) {
    while (!queue.empty()) {
        queue_.Retire(queue);
    }
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
    const std::unique_ptr<DIR, ClosedDirectory> directory(opendir(kDirectory));
    if (directory == nullptr) {
        return -1;
    }
    int count = 0;
    auto smallest = UINT_MAX;
    while (const dirent *entry = readdir(directory.get())) {
        const auto number = static_cast<unsigned>(corvenna::Decimal(entry->d_name));
        if (number != 0) {
            ++count;
            smallest = std::min(smallest, number);
        }
    }
    if (count > 0 && name != nullptr) {
        std::snprintf(name, capacity, "%s/%04d_log.txt", kDirectory, static_cast<int>(smallest));
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

void CLogTxt::Start() {
    // A sink without a thread keeps what is queued until the process ends.
    corvenna::StartDetachedThread(RunWriter, this, &thread_);
}

void CLogTxt::Finish() {
    // Ours: nothing is lost at an orderly end, and nothing waits for a writer that is stuck.
    if (!queue_.Lock().TryLockFor(kFinishSeconds)) {
        return;
    }
    std::unique_lock<Mutex> queueLock(queue_.Lock(), std::adopt_lock);
    WriteBatch(queue_.All(), queueLock);
}
