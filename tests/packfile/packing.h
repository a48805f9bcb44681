#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "config/forward_config.h"
#include "packfile/packfile.h"
#include "tests/support/log_capture.h"
#include "tests/support/pauses.h"

namespace corvenna::test {

/// 2024-03-05 07:08:09 UTC.
constexpr std::time_t kSampleTime = 1709622489;

/// Adds a point to the channel set, under the channel and device of its data id.
void AddPoint(std::uint32_t id, const std::string &name, const std::string &unit);

/// The forwarding tables of the single instance, which production code only fills by loading.
MAP_FORWARD &ForwardTables();

/// Fills the cloud settings that data files depend on.
void Configure(const char *fileType, bool compress = false, std::uint8_t forwardChannel = 0);

/// Sets the process's time zone.
void SetZone(const char *zone);

/// What zlib makes of a compressed file, the terminating NUL included; fails the running test when
/// the stream is not whole.
std::string Inflate(const std::string &compressed);

/// A process in UTC whose pauses and messages are recorded, and what a host hands over.
class PackingTest : public testing::Test {
protected:
    PackingTest();

    std::int32_t CreateRealData();
    std::int32_t CreateAlarmData();

    /// Creates a file and returns its content; fails unless exactly that file was listed.
    std::string RealDataText();
    std::string AlarmDataText();

    PauseRecorder pauses_;
    LogCapture log_;
    std::string dir_ = "/tmp/up";
    std::vector<std::string> files_;
    Real_Data_Struct values_;
    Alarm_Data_Struct alarms_;
    std::time_t sampleTime_ = kSampleTime;
};

/// The same for rules that hold in both formats; the parameter is the file type.
class EveryFormat : public PackingTest, public testing::WithParamInterface<const char *> {
protected:
    bool IsJson() const { return GetParam()[0] == 'j'; }
    /// The one that belongs to the format under test.
    template <class Expected>
    Expected ByFormat(Expected json, Expected xml) const {
        return IsJson() ? json : xml;
    }
};

/// "Json" or "Xml" as the name of a parameter.
std::string FormatName(const testing::TestParamInfo<const char *> &format);

}  // namespace corvenna::test
