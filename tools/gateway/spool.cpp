#include "tools/gateway/spool.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <system_error>

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
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    const int result = fsync(file);
    const int error = errno;
    close(file);
    if (result != 0) {
        throw std::system_error(error, std::generic_category(), path);
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
    const auto due = std::find_if(entries_.begin(), entries_.end(), [now](const auto &item) {
        return !item.second.claimed && item.second.due <= now;
    });
    if (due == entries_.end()) {
        return std::nullopt;
    }
    return ClaimEntry(due->first, due->second);
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
    if (found == entries_.end()) {
        return;
    }
    fs::remove(found->second.path);
    bytes_ -= found->second.bytes;
    entries_.erase(found);
}

int Spool::Failed(const File &file, Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find({file.time, file.kind});
    if (found == entries_.end()) {
        return 0;
    }
    Entry &entry = found->second;
    Clock::duration wait = limits_.firstWait;
    for (int failure = 0; failure < entry.failures && wait < limits_.longestWait; ++failure) {
        wait *= 2;
    }
    entry.due = now + std::min(wait, limits_.longestWait);
    entry.claimed = false;
    return ++entry.failures;
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

std::vector<Spool::File> Spool::DropExcess(std::time_t now) {
    const std::lock_guard lock(mutex_);
    std::vector<File> dropped;
    for (auto item = entries_.begin(); item != entries_.end();) {
        const auto &[key, entry] = *item;
        const bool tooOld = now - key.first > limits_.age.count();
        if (!tooOld && bytes_ <= limits_.bytes) {
            break;
        }
        if (entry.claimed) {
            ++item;
            continue;
        }
        fs::remove(entry.path);
        bytes_ -= entry.bytes;
        dropped.push_back({key.second, key.first, entry.path, entry.bytes});
        item = entries_.erase(item);
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
