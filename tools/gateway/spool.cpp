#include "tools/gateway/spool.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <system_error>

#include "base/file_descriptor.h"

namespace corvenna::gateway {

namespace fs = std::filesystem;

namespace {

// In the spool a file is called by its time, a hyphen and the name that the plug-in gave it, which
// begins with the letter of its kind.
constexpr const char *kWorkPrefix = ".work-";

std::optional<Kind> KindOfLetter(char letter) {
    switch (letter) {
        case 'S':
            return Kind::kRealData;
        case 'T':
            return Kind::kAlarm;
        default:
            return std::nullopt;
    }
}

/// Waits until a file, or the entries of a folder, are on the disk.
void Synchronise(const std::string &path) {
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file || fsync(file.Get()) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

}  // namespace

Spool::Spool(std::string folder, Limits limits) : folder_(std::move(folder)), limits_(limits) {
    fs::create_directories(folder_);
    TakeOver();
}

void Spool::TakeOver() {
    for (const fs::directory_entry &found : fs::directory_iterator(folder_)) {
        const std::string name = found.path().filename();
        if (name.rfind(kWorkPrefix, 0) == 0) {
            fs::remove_all(found.path());
        } else if (const auto key = KeyOf(name); key && found.is_regular_file()) {
            entries_[*key] = {found.path(), found.file_size()};
            bytes_ += found.file_size();
        }
    }
}

std::optional<Spool::Key> Spool::KeyOf(const std::string &name) const {
    std::int64_t time = 0;
    const char *end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data(), end, time);
    if (error != std::errc() || end - rest < 2 || *rest != '-') {
        return std::nullopt;
    }
    const auto kind = KindOfLetter(rest[1]);
    return kind ? std::optional<Key>({static_cast<std::time_t>(time), *kind}) : std::nullopt;
}

std::string Spool::WorkFolder(const std::string &purpose) const {
    std::string folder = folder_ + "/" + kWorkPrefix + purpose;
    fs::create_directories(folder);
    return folder;
}

void Spool::Put(Kind kind, std::time_t time, const std::string &producedPath) {
    Synchronise(producedPath);
    const std::string path =
        folder_ + "/" + std::to_string(time) + "-" + fs::path(producedPath).filename().string();
    const std::lock_guard lock(mutex_);
    fs::rename(producedPath, path);
    Synchronise(folder_);
    Entry &entry = entries_[{time, kind}];
    if (!entry.path.empty() && entry.path != path) {
        fs::remove(entry.path);
    }
    bytes_ -= entry.bytes;
    entry.path = path;
    entry.bytes = fs::file_size(path);
    bytes_ += entry.bytes;
}

bool Spool::Has(Kind kind, std::time_t time) const {
    const std::lock_guard lock(mutex_);
    return entries_.count({time, kind}) != 0;
}

Spool::File Spool::ClaimEntry(const Key &key, Entry &entry) {
    entry.claimed = true;
    return {key.second, key.first, entry.path, entry.bytes};
}

std::optional<Spool::File> Spool::ClaimDue(Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    const auto isDue = [now](const auto &item) {
        return !item.second.claimed && item.second.due <= now;
    };
    const auto claim = [&](auto found, auto end) {
        return found == end ? std::nullopt
                            : std::optional<File>(ClaimEntry(found->first, found->second));
    };
    if (limits_.newestFirst) {
        return claim(std::find_if(entries_.rbegin(), entries_.rend(), isDue), entries_.rend());
    }
    return claim(std::find_if(entries_.begin(), entries_.end(), isDue), entries_.end());
}

std::optional<Spool::File> Spool::Claim(Kind kind, std::time_t time) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find({time, kind});
    if (found == entries_.end() || found->second.claimed) {
        return std::nullopt;
    }
    return ClaimEntry(found->first, found->second);
}

void Spool::Remove(const File &file) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find({file.time, file.kind});
    if (found != entries_.end()) {
        Delete(found);
    }
}

Spool::Retry Spool::Failed(const File &file, Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find({file.time, file.kind});
    if (found == entries_.end()) {
        return {0, {}};
    }
    Entry &entry = found->second;
    Clock::duration wait = limits_.firstWait;
    for (int failure = 0; failure < entry.failures && wait < limits_.longestWait; ++failure) {
        wait *= 2;
    }
    wait = std::min(wait, limits_.longestWait);
    entry.due = now + wait;
    entry.claimed = false;
    return {++entry.failures, wait};
}

void Spool::Release(const File &file) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find({file.time, file.kind});
    if (found != entries_.end()) {
        found->second.claimed = false;
    }
}

void Spool::EndWaits() {
    const std::lock_guard lock(mutex_);
    for (auto &[key, entry] : entries_) {
        entry.due = {};
        entry.failures = 0;
    }
}

Spool::File Spool::Delete(std::map<Key, Entry>::iterator item) {
    const auto &[key, entry] = *item;
    File file{key.second, key.first, entry.path, entry.bytes};
    fs::remove(file.path);
    bytes_ -= file.bytes;
    entries_.erase(item);
    return file;
}

std::optional<Spool::File> Spool::Drop(Kind kind, std::time_t time) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find({time, kind});
    if (found == entries_.end() || found->second.claimed) {
        return std::nullopt;
    }
    return Delete(found);
}

std::vector<Spool::File> Spool::DropExcess() {
    const std::lock_guard lock(mutex_);
    std::vector<File> dropped;
    for (auto item = entries_.begin(); item != entries_.end() && bytes_ > limits_.bytes;) {
        const auto next = std::next(item);
        if (!item->second.claimed) {
            dropped.push_back(Delete(item));
        }
        item = next;
    }
    return dropped;
}

std::size_t Spool::Count() const {
    const std::lock_guard lock(mutex_);
    return entries_.size();
}

std::uint64_t Spool::Bytes() const {
    const std::lock_guard lock(mutex_);
    return bytes_;
}

}  // namespace corvenna::gateway
