#include "tools/gateway/thresholds.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace corvenna::gateway {

namespace {

constexpr std::size_t kDataIdDigits = 8;

std::string Trim(const std::string &text) {
    const auto first = text.find_first_not_of(" \t");
    const auto last = text.find_last_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

std::optional<std::uint32_t> FindPoint(const std::string &name,
                                       const std::map<std::string, std::uint32_t> &names) {
    if (const auto known = names.find(name); known != names.end()) {
        return known->second;
    }
    std::uint32_t id = 0;
    const char *end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data(), end, id, 16);
    if (name.size() != kDataIdDigits || error != std::errc() || rest != end) {
        return std::nullopt;
    }
    const auto isKnown = std::any_of(names.begin(), names.end(),
                                     [id](const auto &known) { return known.second == id; });
    return isKnown ? std::optional<std::uint32_t>(id) : std::nullopt;
}

std::optional<double> ParseLimit(const std::string &text) {
    char *end = nullptr;
    const double limit = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(limit)) {
        return std::nullopt;
    }
    return limit;
}

bool IsCrossed(const Threshold &threshold, double value) {
    return threshold.type == kAboveUpperLimit ? value > threshold.limit : value < threshold.limit;
}

}  // namespace

std::optional<Threshold> ParseThreshold(const std::string &text,
                                        const std::map<std::string, std::uint32_t> &names,
                                        std::string &error) {
    const auto sign = text.find_last_of("<>");
    if (sign == std::string::npos) {
        error = "'" + text + "' has neither '>' nor '<'";
        return std::nullopt;
    }
    const auto point = FindPoint(Trim(text.substr(0, sign)), names);
    if (!point) {
        error = "'" + text + "' names no known point";
        return std::nullopt;
    }
    const auto limit = ParseLimit(Trim(text.substr(sign + 1)));
    if (!limit) {
        error = "'" + text + "' has no number as its limit";
        return std::nullopt;
    }
    return Threshold{*point, text[sign] == '>' ? kAboveUpperLimit : kBelowLowerLimit, *limit};
}

Thresholds::Thresholds(const std::vector<Threshold> &thresholds) {
    for (const Threshold &threshold : thresholds) {
        watches_.push_back({threshold, false});
    }
}

void Thresholds::Resume(const History &history) {
    for (Watch &watch : watches_) {
        const auto flag = history.LastAlarmFlag(watch.threshold.point, watch.threshold.type);
        watch.crossed = flag == kAlarmBegins;
    }
}

std::vector<Alarm> Thresholds::Evaluate(std::time_t time, const Values &values) {
    std::vector<Alarm> alarms;
    for (Watch &watch : watches_) {
        const auto value = values.find(watch.threshold.point);
        if (value == values.end() || IsCrossed(watch.threshold, value->second) == watch.crossed) {
            continue;
        }
        watch.crossed = !watch.crossed;
        Alarm alarm{};
        alarm.alarmTime = static_cast<std::int32_t>(time);
        alarm.dataId = watch.threshold.point;
        alarm.thresholdValue = watch.threshold.limit;
        alarm.alarmValue = value->second;
        alarm.alarmType = watch.threshold.type;
        alarm.alarmFlag = watch.crossed ? kAlarmBegins : kAlarmEnds;
        alarms.push_back(alarm);
    }
    return alarms;
}

std::size_t Thresholds::Active() const {
    return static_cast<std::size_t>(std::count_if(
        watches_.begin(), watches_.end(), [](const Watch &watch) { return watch.crossed; }));
}

}  // namespace corvenna::gateway
