#include "tools/gateway/self_readings.h"

#include <sys/statvfs.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace corvenna::gateway {

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t kSectorBytes = 512;
constexpr double kMilli = 1000.0;
constexpr std::uint16_t kMostZones = 32;

}  // namespace

SelfReadings::SelfReadings(std::string root, std::string fileSystem)
    : root_(std::move(root)), fileSystem_(std::move(fileSystem)) {}

std::string SelfReadings::Content(const std::string &path) const {
    std::ifstream stream(root_ + path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::optional<SelfReadings::ProcessorTime> SelfReadings::Processor() const {
    std::istringstream line(Content("/proc/stat"));
    std::string name;
    std::uint64_t user = 0;
    std::uint64_t nice = 0;
    std::uint64_t system = 0;
    std::uint64_t idle = 0;
    std::uint64_t waiting = 0;
    std::uint64_t interrupts = 0;
    std::uint64_t softInterrupts = 0;
    line >> name >> user >> nice >> system >> idle >> waiting >> interrupts >> softInterrupts;
    if (!line || name != "cpu") {
        return std::nullopt;
    }
    system += interrupts + softInterrupts;
    user += nice;
    return ProcessorTime{user, system, waiting, idle, user + system + waiting + idle};
}

std::map<std::string, std::uint64_t> SelfReadings::Memory() const {
    std::map<std::string, std::uint64_t> sizes;
    std::istringstream lines(Content("/proc/meminfo"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string name;
        std::uint64_t size = 0;
        if (words >> name >> size && name.back() == ':') {
            name.pop_back();
            sizes[name] = size;
        }
    }
    return sizes;
}

std::optional<SelfReadings::Load> SelfReadings::LoadAverage() const {
    std::istringstream words(Content("/proc/loadavg"));
    Load load{};
    std::uint64_t running = 0;
    char slash = 0;
    words >> load.minute1 >> load.minute5 >> load.minute15 >> running >> slash >> load.processes;
    return words ? std::optional<Load>(load) : std::nullopt;
}

std::optional<double> SelfReadings::Uptime() const {
    std::istringstream words(Content("/proc/uptime"));
    double seconds = 0;
    words >> seconds;
    return words ? std::optional<double>(seconds) : std::nullopt;
}

std::optional<SelfReadings::DiskTraffic> SelfReadings::Disks() const {
    DiskTraffic traffic{};
    bool found = false;
    std::istringstream lines(Content("/proc/diskstats"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::uint64_t number = 0;
        std::uint64_t sectorsRead = 0;
        std::uint64_t sectorsWritten = 0;
        std::string name;
        words >> number >> number >> name >> number >> number >> sectorsRead >> number >> number >>
            number >> sectorsWritten;
        // Partitions have no folder of their own there, and are part of their disk's numbers.
        if (!words || !fs::exists(root_ + "/sys/block/" + name + "/device")) {
            continue;
        }
        found = true;
        traffic.readBytes += sectorsRead * kSectorBytes;
        traffic.writtenBytes += sectorsWritten * kSectorBytes;
    }
    return found ? std::optional<DiskTraffic>(traffic) : std::nullopt;
}

std::optional<SelfReadings::FileSystem> SelfReadings::RootFileSystem() const {
    struct statvfs status {};
    if (statvfs((root_ + fileSystem_).c_str(), &status) != 0 || status.f_blocks == 0) {
        return std::nullopt;
    }
    const auto block = static_cast<double>(status.f_frsize);
    return FileSystem{block * static_cast<double>(status.f_blocks),
                      block * static_cast<double>(status.f_bavail)};
}

std::map<std::string, SelfReadings::Traffic> SelfReadings::Networks() const {
    std::map<std::string, Traffic> networks;
    std::istringstream lines(Content("/proc/net/dev"));
    for (std::string line; std::getline(lines, line);) {
        const auto colon = line.find(':');
        if (colon == std::string::npos) {
            continue;
        }
        const auto first = line.find_first_not_of(' ');
        std::istringstream numbers(line.substr(colon + 1));
        std::uint64_t other = 0;
        Traffic traffic{};
        numbers >> traffic.receivedBytes;
        for (int column = 0; column < 7; ++column) {
            numbers >> other;
        }
        if (numbers >> traffic.sentBytes) {
            networks[line.substr(first, colon - first)] = traffic;
        }
    }
    return networks;
}

std::map<std::uint16_t, std::pair<std::string, double>> SelfReadings::Temperatures() const {
    std::map<std::uint16_t, std::pair<std::string, double>> temperatures;
    for (std::uint16_t zone = 0; zone < kMostZones; ++zone) {
        const std::string folder = "/sys/class/thermal/thermal_zone" + std::to_string(zone);
        std::istringstream type(Content(folder + "/type"));
        std::istringstream value(Content(folder + "/temp"));
        std::string name;
        double milliDegrees = 0;
        if (type >> name && value >> milliDegrees) {
            temperatures[zone] = {name, milliDegrees / kMilli};
        }
    }
    return temperatures;
}

}  // namespace corvenna::gateway
