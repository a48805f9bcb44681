#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/gateway/history.h"

namespace corvenna::gateway {

/// Codes of alarm records: what was crossed, and in which direction.
enum AlarmType : std::int32_t { kAboveUpperLimit = 1, kBelowLowerLimit = 2 };
enum AlarmFlag : std::int32_t { kAlarmEnds = 0, kAlarmBegins = 1 };

/// A limit for one point. A value on the limit is still good.
struct Threshold {
    std::uint32_t point;
    AlarmType type;
    double limit;
};

/// Reads "POINT>LIMIT" or "POINT<LIMIT"; POINT is "Device/Point" or eight hexadecimal digits of a
/// data id. @return nothing, and why in `error`, when it cannot be understood.
std::optional<Threshold> ParseThreshold(const std::string &text,
                                        const std::map<std::string, std::uint32_t> &names,
                                        std::string &error);

/// Watches values for crossings: one alarm when a limit is first crossed, one when the value has
/// come back. One thread at a time.
class Thresholds {
public:
    explicit Thresholds(const std::vector<Threshold> &thresholds);

    /// Goes on where an earlier process stopped: an alarm that had begun has not to begin again.
    void Resume(const History &history);

    /// The alarms that a sample begins or ends. Points that were not read change nothing.
    std::vector<Alarm> Evaluate(std::time_t time, const Values &values);

    /// How many limits are crossed now.
    std::size_t Active() const;

private:
    struct Watch {
        Threshold threshold;
        bool crossed;
    };
    std::vector<Watch> watches_;
};

}  // namespace corvenna::gateway
