#pragma once

#include <mutex>
#include <string>

#include "tools/gateway/services.h"

namespace corvenna::gateway {

/// Has the plug-in make files of what is in the history, and puts them into the spool. Several
/// threads may ask; of each kind one file is made at a time.
class Producer {
public:
    /// @param configured the points of which every sample must have a value; borrowed.
    /// @param longestWait for which a file may be in the spool.
    Producer(const Services &services, const MAP_CHANNEL_POINT &configured,
             std::chrono::seconds longestWait)
        : services_(services), configured_(configured), longestWait_(longestWait) {}

    /// Brings the file of a waiting sample, or batch of alarms, into the spool if it is not there.
    void ProduceMissing(Kind kind, std::time_t time);
    /// The same, in place of what is there.
    void ProduceAnew(Kind kind, std::time_t time);

    /// Makes a file in a folder of the caller's. Throws when the folder takes none.
    Production ProduceInto(const std::string &folder, Kind kind, std::time_t time);

    /// Drops what the spool has too much or for too long, and says so.
    void DropExcess();

private:
    void Dropped(const Spool::File &file, const char *why);
    void Produce(Kind kind, std::time_t time);

    const Services services_;
    const MAP_CHANNEL_POINT &configured_;
    const std::chrono::seconds longestWait_;
    std::mutex producing_[2];  // by kind: one producer in its work folder
};

}  // namespace corvenna::gateway
