#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "packfile/packfile.h"

namespace corvenna::bench {

struct Point {
    std::uint32_t id;
    std::string name;
    std::string unit;
    double value;
};

/// A device that answers, with its points.
struct Device {
    unsigned channel;
    unsigned number;
    std::vector<Point> points;
};

/// The same points for every contender, values of all ordinary magnitudes.
/// Made once, by the first call.
/// Fills the channel set of the single instance too, and sets the time zone to UTC.
const std::vector<Device> &MakePoints(unsigned count, unsigned pointsPerDevice = 200);

/// The snapshot that belongs to them.
Real_Data_Struct &Values();

/// The sample time of every document, and its text.
constexpr std::time_t kSampleTime = 1709622489;
constexpr char kSampleTimeText[] = "2024-03-05 07:08:09";

/// Where every contender writes.
constexpr char kFolder[] = "/tmp";

/// Writes a finished text where contenders write.
void WriteText(const char *text, std::size_t length);

}  // namespace corvenna::bench
