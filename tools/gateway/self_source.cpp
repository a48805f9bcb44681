#include "tools/gateway/self_source.h"

namespace corvenna::gateway {

namespace {

constexpr double kKibi = 1024.0;
constexpr double kGibi = 1024.0 * 1024.0 * 1024.0;
constexpr double kPercent = 100.0;
constexpr double kHourSeconds = 3600.0;

constexpr std::uint8_t kMachineChannel = 1;
constexpr std::uint8_t kTrafficChannel = 2;
constexpr std::uint8_t kTemperatureChannel = 3;

// Addresses of the devices, and numbers of their points, which are all analogue inputs.
enum Address : std::uint8_t {
    kProcessor = 1,
    kMemory = 2,
    kLoad = 3,
    kDisk = 1,
    kNetwork = 2,
    kTemperatures = 1
};
enum ProcessorPoint : std::uint16_t { kUsage, kUser, kSystem, kWaiting };
enum MemoryPoint : std::uint16_t { kTotal, kAvailable, kUsed, kSwapUsed };
enum LoadPoint : std::uint16_t { kLoad1, kLoad5, kLoad15, kProcesses, kUptime };
enum DiskPoint : std::uint16_t { kFilled, kFree, kRead, kWritten };
enum NetworkPoint : std::uint16_t { kReceived, kSent };

struct NameAndUnit {
    const char *name, *unit;
};

Device MakeDevice(std::uint8_t channel, std::uint8_t address, const char *name,
                  const char *description, const std::vector<NameAndUnit> &points) {
    Device device{channel, address, name, description, "Linux", {}};
    for (const NameAndUnit &point : points) {
        const auto number = static_cast<std::uint16_t>(device.points.size());
        device.points.push_back({PointType::kAnalogueInput, number, point.name, point.unit});
    }
    device.points.push_back({PointType::kDigitalInput, 0, "Comm_Status", ""});
    return device;
}

Catalogue FixedDevices() {
    return {
        MakeDevice(kMachineChannel, kProcessor, "Processor", "All processors together",
                   {{"Usage", "%"}, {"User", "%"}, {"System", "%"}, {"Waiting", "%"}}),
        MakeDevice(kMachineChannel, kMemory, "Memory", "Main memory and swap",
                   {{"Total", "MiB"}, {"Available", "MiB"}, {"Used", "%"}, {"Swap used", "MiB"}}),
        MakeDevice(kMachineChannel, kLoad, "Load", "Work of the machine",
                   {{"Load 1 min", ""},
                    {"Load 5 min", ""},
                    {"Load 15 min", ""},
                    {"Processes", ""},
                    {"Uptime", "h"}}),
        MakeDevice(kTrafficChannel, kDisk, "Disk", "Root file system and all disks",
                   {{"Used", "%"}, {"Free", "GiB"}, {"Read", "KiB/s"}, {"Written", "KiB/s"}}),
        MakeDevice(kTrafficChannel, kNetwork, "Network", "All network interfaces together",
                   {{"Received", "KiB/s"}, {"Sent", "KiB/s"}}),
    };
}

void Set(Values &values, std::uint8_t channel, std::uint8_t address, std::uint16_t number,
         double value) {
    values[DataId(channel, address, PointType::kAnalogueInput, number)] = value;
}

/// A part of a whole in per cent; 0 of an empty whole.
double Share(double part, double whole) {
    return whole > 0 ? kPercent * part / whole : 0;
}

/// How much a counter grew; 0 when it has started anew.
double Growth(std::uint64_t before, std::uint64_t now) {
    return now >= before ? static_cast<double>(now - before) : 0;
}

}  // namespace

SelfSource::SelfSource(std::string root, std::string fileSystem)
    : readings_(std::move(root), std::move(fileSystem)), devices_(FixedDevices()) {
    Device temperatures = MakeDevice(kTemperatureChannel, kTemperatures, "Temperatures",
                                     "Thermal zones of the machine", {});
    for (const auto &[zone, temperature] : readings_.Temperatures()) {
        const std::string name = "Zone " + std::to_string(zone) + " " + temperature.first;
        temperatures.points.push_back({PointType::kAnalogueInput, zone, name, "degC"});
    }
    if (temperatures.points.size() > 1) {
        devices_.push_back(std::move(temperatures));
    }
    before_ = ReadTotals();
}

SelfSource::Totals SelfSource::ReadTotals() const {
    Totals totals{std::chrono::steady_clock::now(), readings_.Processor(), readings_.Disks(), {}};
    for (const auto &[name, traffic] : readings_.Networks()) {
        const auto sum = totals.network.value_or(SelfReadings::Traffic{0, 0});
        totals.network = SelfReadings::Traffic{sum.receivedBytes + traffic.receivedBytes,
                                               sum.sentBytes + traffic.sentBytes};
    }
    return totals;
}

Values SelfSource::Read(std::time_t) {
    const Totals now = ReadTotals();
    Values values;
    ReadProcessor(now, values);
    ReadMemory(values);
    ReadLoad(values);
    ReadDisk(now, values);
    ReadNetwork(now, values);
    ReadTemperatures(values);
    before_ = now;
    return values;
}

void SelfSource::ReadProcessor(const Totals &now, Values &values) const {
    if (!now.processor || !before_.processor) {
        return;
    }
    const double all = Growth(before_.processor->all, now.processor->all);
    const auto set = [&](std::uint16_t point, double ticks) {
        Set(values, kMachineChannel, kProcessor, point, Share(ticks, all));
    };
    const double user = Growth(before_.processor->user, now.processor->user);
    const double system = Growth(before_.processor->system, now.processor->system);
    set(kUsage, user + system);
    set(kUser, user);
    set(kSystem, system);
    set(kWaiting, Growth(before_.processor->waiting, now.processor->waiting));
}

void SelfSource::ReadMemory(Values &values) const {
    const auto sizes = readings_.Memory();
    if (sizes.count("MemTotal") == 0) {
        return;
    }
    const auto mebibytes = [&](const char *name) {
        const auto size = sizes.find(name);
        return size == sizes.end() ? 0.0 : static_cast<double>(size->second) / kKibi;
    };
    const double total = mebibytes("MemTotal");
    const double available = mebibytes("MemAvailable");
    Set(values, kMachineChannel, kMemory, kTotal, total);
    Set(values, kMachineChannel, kMemory, kAvailable, available);
    Set(values, kMachineChannel, kMemory, kUsed, Share(total - available, total));
    Set(values, kMachineChannel, kMemory, kSwapUsed,
        mebibytes("SwapTotal") - mebibytes("SwapFree"));
}

void SelfSource::ReadLoad(Values &values) const {
    const auto load = readings_.LoadAverage();
    if (!load) {
        return;
    }
    Set(values, kMachineChannel, kLoad, kLoad1, load->minute1);
    Set(values, kMachineChannel, kLoad, kLoad5, load->minute5);
    Set(values, kMachineChannel, kLoad, kLoad15, load->minute15);
    Set(values, kMachineChannel, kLoad, kProcesses, static_cast<double>(load->processes));
    Set(values, kMachineChannel, kLoad, kUptime, readings_.Uptime().value_or(0) / kHourSeconds);
}

void SelfSource::ReadDisk(const Totals &now, Values &values) const {
    if (const auto fileSystem = readings_.RootFileSystem()) {
        Set(values, kTrafficChannel, kDisk, kFilled,
            Share(fileSystem->size - fileSystem->available, fileSystem->size));
        Set(values, kTrafficChannel, kDisk, kFree, fileSystem->available / kGibi);
    }
    const std::chrono::duration<double> time = now.when - before_.when;
    if (now.disks && before_.disks && time.count() > 0) {
        Set(values, kTrafficChannel, kDisk, kRead,
            Growth(before_.disks->readBytes, now.disks->readBytes) / kKibi / time.count());
        Set(values, kTrafficChannel, kDisk, kWritten,
            Growth(before_.disks->writtenBytes, now.disks->writtenBytes) / kKibi / time.count());
    }
}

void SelfSource::ReadNetwork(const Totals &now, Values &values) const {
    const std::chrono::duration<double> time = now.when - before_.when;
    if (!now.network || !before_.network || time.count() <= 0) {
        return;
    }
    Set(values, kTrafficChannel, kNetwork, kReceived,
        Growth(before_.network->receivedBytes, now.network->receivedBytes) / kKibi / time.count());
    Set(values, kTrafficChannel, kNetwork, kSent,
        Growth(before_.network->sentBytes, now.network->sentBytes) / kKibi / time.count());
}

void SelfSource::ReadTemperatures(Values &values) const {
    for (const auto &[zone, temperature] : readings_.Temperatures()) {
        Set(values, kTemperatureChannel, kTemperatures, zone, temperature.second);
    }
}

}  // namespace corvenna::gateway
