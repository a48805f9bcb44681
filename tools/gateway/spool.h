#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/gateway/history.h"

namespace corvenna::gateway {

/// Produced files that have not arrived yet, in a folder. A file enters it whole or not at all, is
/// there after a kill and a loss of power, and leaves it when it has arrived or is dropped. Sending
/// is the caller's: it claims a file, sends it, and says how that went; while a file is claimed
/// nobody else gets it. Calls may come from several threads. What the file system refuses throws
/// std::filesystem::filesystem_error or std::system_error.
class Spool {
public:
    struct Limits {
        std::uint64_t bytes;        ///< of all files together
        Clock::duration firstWait;  ///< after the first failure; doubled by each further one
        Clock::duration longestWait;
        bool newestFirst = false;  ///< of those that are due
    };

    struct File {
        Kind kind;
        std::time_t time;  ///< the sample's or batch's
        std::string path;
        std::uint64_t bytes;
    };

    /// Takes over what an earlier process left in the folder, which is made when it is missing.
    /// Unfinished files are removed, files of others are left alone.
    Spool(std::string folder, Limits limits);

    /// Where a file of the spool is to be produced: a folder of this spool's own for each purpose.
    std::string WorkFolder(const std::string &purpose) const;

    /// Moves a produced file in. One of the same kind and time is replaced, its waiting time stays.
    void Put(Kind kind, std::time_t time, const std::string &producedPath);

    bool Has(Kind kind, std::time_t time) const;

    /// The oldest (or newest, as the limits say) file whose waiting time is over, claimed for the
    /// caller.
    std::optional<File> ClaimDue(Clock::time_point now);
    /// A certain file, whatever its waiting time; nothing when it is claimed or not there.
    std::optional<File> Claim(Kind kind, std::time_t time);

    /// The claimed file has arrived (or is not wanted any more): it is deleted.
    void Remove(const File &file);
    struct Retry {
        int failures;          ///< so far, this one included
        Clock::duration wait;  ///< until it is due again
    };
    /// The claimed file has not arrived: it stays and waits.
    Retry Failed(const File &file, Clock::time_point now);
    /// The claimed file was not sent: it goes back as it was.
    void Release(const File &file);

    /// Ends all waiting times, after the server was away.
    void EndWaits();

    /// Deletes a file that nobody has claimed. @return it, nothing when there is none.
    std::optional<File> Drop(Kind kind, std::time_t time);
    /// Deletes the oldest files until the spool is within its limit; claimed ones are left.
    /// @return the deleted ones.
    std::vector<File> DropExcess();

    std::size_t Count() const;
    std::uint64_t Bytes() const;

private:
    struct Entry {
        std::string path;
        std::uint64_t bytes;
        int failures = 0;
        Clock::time_point due{};
        bool claimed = false;
    };
    using Key = std::pair<std::time_t, Kind>;  // in the order of age

    void TakeOver();
    std::optional<Key> KeyOf(const std::string &name) const;
    File Delete(std::map<Key, Entry>::iterator item);
    File ClaimEntry(const Key &key, Entry &entry);

    const std::string folder_;
    const Limits limits_;
    mutable std::mutex mutex_;
    std::map<Key, Entry> entries_;
    std::uint64_t bytes_ = 0;
};

}  // namespace corvenna::gateway
