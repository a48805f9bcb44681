#include "tools/gateway/csv_source.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <stdexcept>

namespace corvenna::gateway {

namespace {

constexpr std::uint8_t kChannelOfNames = 1;
constexpr std::size_t kMostDevices = 255;
constexpr std::size_t kMostPoints = 4096;
constexpr std::size_t kDataIdDigits = 8;

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
    ReadHeader(WithoutLineEnd(line));
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
    if (const auto id = ParseDataId(name)) {
        columns_.push_back(AddById(*id));
        return;
    }
    const auto [path, unit] = SplitUnit(name);
    const auto slash = path.find('/');
    if (slash == std::string::npos || slash == 0 || slash + 1 == path.size()) {
        throw std::runtime_error("column '" + name + "' is not called Device/Point");
    }
    columns_.push_back(AddByName(path.substr(0, slash), path.substr(slash + 1), unit));
}

std::uint32_t CsvSource::AddById(std::uint32_t id) {
    const auto channel = static_cast<std::uint8_t>(id >> 24U);
    const auto address = static_cast<std::uint8_t>(id >> 16U & 0xFFU);
    const auto type = static_cast<PointType>(id >> 8U & 0x0FU);
    const auto number = static_cast<std::uint16_t>((id & 0xFFU) | (id >> 4U & 0xF00U));
    Device &device = FindOrAdd(devices_, channel, address,
                               "Device" + std::to_string(channel) + "-" + std::to_string(address));
    if (id != StatusId(channel, address)) {
        device.points.push_back({type, number, "Point " + std::to_string(number), ""});
    }
    return id;
}

std::uint32_t CsvSource::AddByName(const std::string &device, const std::string &point,
                                   const std::string &unit) {
    auto found = std::find_if(devices_.begin(), devices_.end(),
                              [&](const Device &known) { return known.name == device; });
    if (found == devices_.end()) {
        if (devices_.size() == kMostDevices) {
            throw std::runtime_error("more than 255 devices among the recorded values");
        }
        const auto address = static_cast<std::uint8_t>(devices_.size() + 1);
        FindOrAdd(devices_, kChannelOfNames, address, device);
        found = devices_.end() - 1;
    }
    const std::size_t number = found->points.size() - 1;  // the first one is the status
    if (number == kMostPoints) {
        throw std::runtime_error("more than 4096 points of device '" + device + "'");
    }
    found->points.push_back(
        {PointType::kAnalogueInput, static_cast<std::uint16_t>(number), point, unit});
    return DataId(*found, found->points.back());
}

void CsvSource::ReadRow(const std::string &line, int number) {
    const std::vector<std::string> cells = SplitCsvLine(line);
    Values row;
    for (std::size_t i = 0; i < cells.size() && i < columns_.size(); ++i) {
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
