// Produced files compared with documents that an independent program makes from the same points,
// and read back by independent parsers.

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "config/channel_set.h"
#include "plugin/instances.h"
#include "tests/packfile/packing.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

std::string Hexadecimal(const std::string &text) {
    std::string digits;
    for (const char c : text) {
        digits += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
        digits += "0123456789abcdef"[static_cast<unsigned char>(c) & 0xF];
    }
    return digits;
}

std::string Bits(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, bits);
    return text;
}

class ReadBack : public EveryFormat {
protected:
    ReadBack() { SetZone("CET-1CEST,M3.5.0,M10.5.0/3"); }

    /// Valid UTF-8 that XML can hold, rich in what needs escaping.
    std::string RandomText(std::size_t longest) {
        static const char *const kPieces[] = {"a",
                                              "Z",
                                              "0",
                                              " ",
                                              "\"",
                                              "\\",
                                              "<",
                                              ">",
                                              "&",
                                              "'",
                                              "/",
                                              "\t",
                                              "\n",
                                              "\r",
                                              "\x7f",
                                              "\xc3\xa9",
                                              "\xe7\x94\xb5",
                                              "\xf0\x9f\x94\x8c",
                                              "&amp;",
                                              "%s"};
        std::string text;
        for (auto pieces = random_() % longest; pieces > 0; --pieces) {
            text += kPieces[random_() % std::size(kPieces)];
        }
        return text.size() > 126 ? "long" : text;
    }

    double RandomValue() {
        const double mantissa = static_cast<double>(static_cast<std::int32_t>(random_()));
        switch (random_() % 8) {
            case 0:
                return mantissa / 16;
            case 1: {
                double any = 0;
                const std::uint64_t bits = random_();
                std::memcpy(&any, &bits, sizeof any);
                return any;
            }
            default:
                return mantissa / 1e6;
        }
    }

    void AddRandomPoint(std::uint32_t id) {
        const std::string name = RandomText(30);
        const std::string unit = RandomText(8);
        AddPoint(id, name, unit);
        input_ += "point " + std::to_string(id) + ' ' + Hexadecimal(name) + ' ' +
                  Hexadecimal(unit) + '\n';
    }

    void SetValue(std::uint32_t id, double value) {
        values_[id] = value;
        input_ += "value " + std::to_string(id) + ' ' + Bits(value) + '\n';
    }

    /// Devices of 100 points; one in four does not answer.
    void AddRandomDevices(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            const std::uint32_t device = (180 + i / 4) << 24 | (i % 4) << 16;
            for (std::uint32_t point = 0; point < 99; ++point) {
                AddRandomPoint(device | point);
                SetValue(device | point, RandomValue());
            }
            AddRandomPoint(device | 0x0100);
            SetValue(device | 0x0100, random_() % 4 == 0 ? 0.099 : 0.1);
        }
    }

    void AddRandomAlarms(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            const auto id = static_cast<std::uint32_t>(180 + random_() % 16) << 24 |
                            static_cast<std::uint32_t>(random_() % 5 << 16 | random_() % 101);
            const Alarm_Data_Para alarm{static_cast<std::int32_t>(random_()),
                                        id,
                                        RandomValue(),
                                        RandomValue(),
                                        static_cast<std::int32_t>(random_()),
                                        static_cast<std::int32_t>(random_())};
            alarms_.push_back(alarm);
            input_ += "alarm " + std::to_string(alarm.alarmTime) + ' ' + std::to_string(id) + ' ' +
                      Bits(alarm.thresholdValue) + ' ' + Bits(alarm.alarmValue) + ' ' +
                      std::to_string(alarm.alarmType) + ' ' + std::to_string(alarm.alarmFlag) +
                      '\n';
        }
    }

    void ExpectReadBack(const std::string &extension) {
        ASSERT_EQ(files_.size(), 1U);
        EXPECT_EQ(files_[0].substr(files_[0].rfind('.') + 1), extension);
        WriteFile("/tmp/input", "format " + std::string(GetParam()) + '\n' + input_);
        const std::string command = "python3 " READ_BACK " /tmp/input " + files_[0];
        EXPECT_EQ(std::system(command.c_str()), 0);
    }

    void ExpectRealData(const std::string &extension) {
        input_ += "time " + std::to_string(sampleTime_) + '\n';
        CreateRealData();
        ExpectReadBack(extension);
    }

    std::mt19937_64 random_{20240305};
    std::string input_;
};

INSTANTIATE_TEST_SUITE_P(Formats, ReadBack, testing::Values("json", "xml"), FormatName);

TEST_P(ReadBack, TenThousandPointsEqualTheIndependentDocument) {
    Configure(GetParam());
    AddRandomDevices(100);
    ExpectRealData(GetParam());
}

TEST_P(ReadBack, CompressedPointsEqualTheIndependentDocument) {
    Configure(GetParam(), true);
    AddRandomDevices(3);
    ExpectRealData(GetParam() + std::string("z"));
}

TEST_P(ReadBack, PointsTooManyToCompressEqualTheIndependentDocument) {
    Configure(GetParam(), true);
    AddRandomDevices(30);
    ExpectRealData(GetParam());
}

TEST_P(ReadBack, BothSidesOfAClockChangeEqualTheIndependentDocument) {
    Configure(GetParam());
    AddRandomDevices(1);
    for (const std::time_t time : {1711846799, 1711846800, 1729990799, 1729990800}) {
        const std::string points = input_;
        sampleTime_ = time;
        files_.clear();
        ExpectRealData(GetParam());
        input_ = points;
    }
}

TEST_P(ReadBack, ThousandsOfAlarmsEqualTheIndependentDocument) {
    Configure(GetParam());
    AddRandomDevices(64);
    values_.clear();
    AddRandomAlarms(3000);
    CreateAlarmData();
    ExpectReadBack(GetParam());
}

TEST_P(ReadBack, CompressedAlarmsEqualTheIndependentDocument) {
    Configure(GetParam(), true);
    AddRandomDevices(64);
    AddRandomAlarms(100);
    CreateAlarmData();
    ExpectReadBack(GetParam() + std::string("z"));
}

}  // namespace
}  // namespace corvenna::test
