#include "tools/gateway/csv_source.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <stdexcept>

namespace corvenna::gateway {

namespace {

constexpr std::uint8_t kChannelOfNames = 1;
constexpr unsigned kMostDevices = 255;
constexpr std::uint16_t kMostPoints = 4096;
constexpr std::size_t kDataIdDigits = 8;
constexpr const char *kByteOrderMark = "\xEF\xBB\xBF";

std::optional<std::uint32_t> ParseDataId(const std::string &text) {
    std::uint32_t id = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, id, 16);
    if (text.size() != kDataIdDigits || error != std::errc() || rest != end || id == 0) {
        return std::nullopt;
    }
    return id;
}

/// "Name [unit]" taken apart.
std::pair<std::string, std::string> SplitUnit(const std::string &text) {
    const auto open = text.rfind('[');
    if (open == std::string::npos || text.back() != ']') {
        return {text, ""};
    }
    std::string name = text.substr(0, open);
    name.erase(name.find_last_not_of(' ') + 1);
    return {name, text.substr(open + 1, text.size() - open - 2)};
}

Point StatusPoint() {
    return {PointType::kDigitalInput, 0, "Comm_Status", ""};
}

Device &FindOrAdd(Catalogue &devices, std::uint8_t channel, std::uint8_t address,
                  const std::string &name) {
    const auto found = std::find_if(devices.begin(), devices.end(), [&](const Device &device) {
        return device.channel == channel && device.address == address;
    });
    if (found != devices.end()) {
        return *found;
    }
    return devices.emplace_back(
        Device{channel, address, name, "Recorded values", "Recorded", {StatusPoint()}});
}

PointType TypeOf(std::uint32_t id) {
    return static_cast<PointType>(id >> 8U & 0x0FU);
}

bool IsConfigurable(std::uint32_t id) {
    return TypeOf(id) <= PointType::kAnalogueOutput;
}

const Point *FindPoint(const Device &device, PointType type, const std::string &name) {
    const auto found =
        std::find_if(device.points.begin(), device.points.end(),
                     [&](const Point &point) { return point.type == type && point.name == name; });
    return found == device.points.end() ? nullptr : &*found;
}

/// A device that a column names gets the first address that is free.
Device &FindOrAddByName(Catalogue &devices, const std::string &name) {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const Device &known) { return known.name == name; });
    if (found != devices.end()) {
        return *found;
    }
    for (unsigned address = 1; address <= kMostDevices; ++address) {
        Device &device =
            FindOrAdd(devices, kChannelOfNames, static_cast<std::uint8_t>(address), name);
        if (device.name == name) {
            return device;
        }
    }
    throw std::runtime_error("more than 255 devices among the recorded values");
}

/// The first number that no analogue input of the device has.
std::uint16_t FreeNumber(const Device &device) {
    std::set<std::uint16_t> taken;
    for (const Point &point : device.points) {
        if (point.type == PointType::kAnalogueInput) {
            taken.insert(point.number);
        }
    }
    for (std::uint16_t number = 0; number < kMostPoints; ++number) {
        if (taken.count(number) == 0) {
            return number;
        }
    }
    throw std::runtime_error("more than 4096 points of device '" + device.name + "'");
}

std::string WithoutByteOrderMark(const std::string &line) {
    return line.rfind(kByteOrderMark, 0) == 0 ? line.substr(std::strlen(kByteOrderMark)) : line;
}

std::string WithoutLineEnd(std::string line) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

}  // namespace

std::vector<std::string> SplitCsvLine(const std::string &line) {
    std::vector<std::string> cells(1);
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool doubled = quoted && line[i] == '"' && i + 1 < line.size() && line[i + 1] == '"';
        if (doubled) {
            cells.back() += '"';
            ++i;
        } else if (line[i] == '"') {
            quoted = !quoted;
        } else if (line[i] == ',' && !quoted) {
            cells.emplace_back();
        } else {
            cells.back() += line[i];
        }
    }
    return cells;
}

CsvSource::CsvSource(std::istream &stream) {
    std::string line;
    if (!std::getline(stream, line)) {
        throw std::runtime_error("the file of recorded values is empty");
    }
    ReadHeader(WithoutByteOrderMark(WithoutLineEnd(line)));
    for (int number = 2; std::getline(stream, line); ++number) {
        if (!WithoutLineEnd(line).empty()) {
            ReadRow(WithoutLineEnd(line), number);
        }
    }
    if (rows_.empty()) {
        throw std::runtime_error("the file of recorded values has no row of values");
    }
}

void CsvSource::ReadHeader(const std::string &line) {
    for (const std::string &name : SplitCsvLine(line)) {
        AddColumn(name);
    }
    const auto named = [](std::uint32_t id) { return id != kNoPoint; };
    if (std::none_of(columns_.begin(), columns_.end(), named)) {
        throw std::runtime_error("the first row of recorded values names no point");
    }
}

void CsvSource::AddColumn(const std::string &name) {
    if (name == "time") {
        columns_.push_back(kNoPoint);
        return;
    }
    std::uint32_t id = 0;
    if (const auto given = ParseDataId(name)) {
        if (!IsConfigurable(*given)) {
            throw std::runtime_error("column '" + name + "' is of no type that a point can have");
        }
        id = AddById(*given);
    } else {
        const auto [path, unit] = SplitUnit(name);
        const auto slash = path.find('/');
        if (slash == std::string::npos || slash == 0 || slash + 1 == path.size()) {
            throw std::runtime_error("column '" + name + "' is not called Device/Point");
        }
        id = AddByName(path.substr(0, slash), path.substr(slash + 1), unit);
    }
    if (std::find(columns_.begin(), columns_.end(), id) != columns_.end()) {
        throw std::runtime_error("column '" + name + "' is there twice");
    }
    columns_.push_back(id);
}

std::uint32_t CsvSource::AddById(std::uint32_t id) {
    const auto channel = static_cast<std::uint8_t>(id >> 24U);
    const auto address = static_cast<std::uint8_t>(id >> 16U & 0xFFU);
    const auto number = static_cast<std::uint16_t>((id & 0xFFU) | (id >> 4U & 0xF00U));
    Device &device = FindOrAdd(devices_, channel, address,
                               "Device" + std::to_string(channel) + "-" + std::to_string(address));
    if (id != StatusId(channel, address)) {
        device.points.push_back({TypeOf(id), number, "Point " + std::to_string(number), ""});
    }
    return id;
}

std::uint32_t CsvSource::AddByName(const std::string &name, const std::string &point,
                                   const std::string &unit) {
    Device &device = FindOrAddByName(devices_, name);
    if (const Point *known = FindPoint(device, PointType::kAnalogueInput, point)) {
        return DataId(device, *known);
    }
    device.points.push_back({PointType::kAnalogueInput, FreeNumber(device), point, unit});
    return DataId(device, device.points.back());
}

void CsvSource::ReadRow(const std::string &line, int number) {
    const std::vector<std::string> cells = SplitCsvLine(line);
    if (cells.size() > columns_.size()) {
        throw std::runtime_error("line " + std::to_string(number) +
                                 " of the recorded values has more cells than the first row");
    }
    Values row;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (columns_[i] == kNoPoint || cells[i].empty()) {
            continue;
        }
        char *end = nullptr;
        const double value = std::strtod(cells[i].c_str(), &end);
        if (end == cells[i].c_str() || *end != '\0' || !std::isfinite(value)) {
            throw std::runtime_error("line " + std::to_string(number) +
                                     " of the recorded values: '" + cells[i] + "' is no number");
        }
        row[columns_[i]] = value;
    }
    rows_.push_back(std::move(row));
}

Values CsvSource::Read(std::time_t) {
    const Values &row = rows_[next_];
    next_ = (next_ + 1) % rows_.size();
    return row;
}

}  // namespace corvenna::gateway
