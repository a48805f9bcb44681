#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/gateway/self_readings.h"
#include "tools/gateway/source.h"

namespace corvenna::gateway {

/// This machine as a plant: processor, memory and load on channel 1, disk and network on channel 2,
/// temperatures on channel 3 where the machine has some. Rates are means over the time since the
/// reading before.
class SelfSource : public Source {
public:
    /// @param root where proc and sys are; "" for the machine's own.
    /// @param fileSystem a folder whose file system is shown as that of the root.
    explicit SelfSource(std::string root = "", std::string fileSystem = "/");

    const Catalogue &Devices() const override { return devices_; }
    Values Read(std::time_t now) override;

private:
    struct Totals {
        std::chrono::steady_clock::time_point when;
        std::optional<SelfReadings::ProcessorTime> processor;
        std::optional<SelfReadings::DiskTraffic> disks;
        std::optional<SelfReadings::Traffic> network;
    };

    Totals ReadTotals() const;
    void ReadProcessor(const Totals &now, Values &values) const;
    void ReadMemory(Values &values) const;
    void ReadLoad(Values &values) const;
    void ReadDisk(const Totals &now, Values &values) const;
    void ReadNetwork(const Totals &now, Values &values) const;
    void ReadTemperatures(Values &values) const;

    const SelfReadings readings_;
    Catalogue devices_;
    Totals before_;
};

}  // namespace corvenna::gateway
