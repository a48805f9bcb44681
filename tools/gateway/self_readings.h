#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace corvenna::gateway {

/// Reads what Linux tells about a machine under <root>/proc and <root>/sys; root is "" for the
/// machine itself. `fileSystem` is a folder of the root file system: where this process has a root
/// of its own, "/" is none. What is not there gives nothing.
class SelfReadings {
public:
    explicit SelfReadings(std::string root, std::string fileSystem = "/");

    /// Time of all processors together since the start, in the kernel's ticks.
    struct ProcessorTime {
        std::uint64_t user, system, waiting, idle, all;
    };
    std::optional<ProcessorTime> Processor() const;

    /// Sizes in KiB by the kernel's names ("MemTotal").
    std::map<std::string, std::uint64_t> Memory() const;

    struct Load {
        double minute1, minute5, minute15;
        std::uint64_t processes;
    };
    std::optional<Load> LoadAverage() const;

    /// Seconds since the start of the machine.
    std::optional<double> Uptime() const;

    /// Bytes since the start, of all whole disks together.
    struct DiskTraffic {
        std::uint64_t readBytes, writtenBytes;
    };
    std::optional<DiskTraffic> Disks() const;

    /// Size and free space of the file system of the root, in bytes.
    struct FileSystem {
        double size, available;
    };
    std::optional<FileSystem> RootFileSystem() const;

    /// Bytes since the start of one network interface.
    struct Traffic {
        std::uint64_t receivedBytes, sentBytes;
    };
    std::map<std::string, Traffic> Networks() const;

    /// What a thermal zone is called and its degrees Celsius, by the zone's number.
    std::map<std::uint16_t, std::pair<std::string, double>> Temperatures() const;

private:
    std::string Content(const std::string &path) const;

    const std::string root_;
    const std::string fileSystem_;
};

}  // namespace corvenna::gateway
