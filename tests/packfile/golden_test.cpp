// The data files of one gateway, byte for byte those in tests/packfile/golden, which an x86-64
// build wrote: the documents of every architecture are the same.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tests/packfile/packing.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

/// Values that a division or a rounding of its own would print otherwise.
double ValueOf(unsigned index) {
    constexpr double kEnds[] = {0.0,
                                -0.0,
                                0.0005,
                                -0.0015,
                                2.5e-4,
                                1e300,
                                -1e15,
                                4294967295.5,
                                std::numeric_limits<double>::denorm_min(),
                                std::numeric_limits<double>::infinity()};
    constexpr unsigned kCount = sizeof kEnds / sizeof kEnds[0];
    return index < kCount ? kEnds[index]
                          : std::ldexp(1237.0 * index - 99999.0, static_cast<int>(index % 37) - 20);
}

class Golden : public EveryFormat {
protected:
    Golden() {
        Configure(GetParam());
        for (unsigned index = 0; index < 200; ++index) {
            const std::uint32_t id = 0x02010001U + (index / 50 << 16U) + index % 50;
            AddPoint(id, "Leistung <" + std::to_string(index) + "> \xc3\xa4\"&'", "kW\\h");
            values_[id] = ValueOf(index);
            values_[(id & 0xFFFF0000U) | 0x0100U] = 1;  // the device's status
            alarms_.push_back({static_cast<std::int32_t>(1709622489U + index * 86413U), id,
                               ValueOf(199 - index), ValueOf(index), static_cast<int>(index % 4),
                               static_cast<int>(index) - 100});
        }
    }

    static std::string Expected(const std::string &kind) {
        return ReadFile(std::string(CORVENNA_GOLDEN) + "/" + kind + "." + GetParam());
    }
};

TEST_P(Golden, RealDataIsTheSameOnEveryArchitecture) {
    EXPECT_EQ(RealDataText(), Expected("real"));
}

TEST_P(Golden, AlarmDataIsTheSameOnEveryArchitecture) {
    EXPECT_EQ(AlarmDataText(), Expected("alarm"));
}

INSTANTIATE_TEST_SUITE_P(Each, Golden, testing::Values("json", "xml"), FormatName);

}  // namespace
}  // namespace corvenna::test
