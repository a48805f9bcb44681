#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "message/parse_memory.h"

namespace {

void SetTimeZone(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
}

TEST(TimeString, IsReadInTheLocalZone) {
    SetTimeZone("UTC0");
    EXPECT_EQ(0, CParseMemory::TimeString2Timet("1970-01-01 00:00:00"));
    EXPECT_EQ(1709622489, CParseMemory::TimeString2Timet("2024-03-05 07:08:09"));
    SetTimeZone("XYZ-2");
    EXPECT_EQ(1709622489 - 7200, CParseMemory::TimeString2Timet("2024-03-05 07:08:09"));
}

TEST(TimeString, LetsTheZoneDecideAboutDaylightSaving) {
    SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(1704106800, CParseMemory::TimeString2Timet("2024-01-01 12:00:00"));
    EXPECT_EQ(1719828000, CParseMemory::TimeString2Timet("2024-07-01 12:00:00"));
}

TEST(TimeString, TakesWhatTheScanFindsAndZeroForTheRest) {
    SetTimeZone("UTC0");
    EXPECT_EQ(CParseMemory::TimeString2Timet("2024-03-05 00:00:00"),
              CParseMemory::TimeString2Timet("2024-03-05"));
    EXPECT_EQ(CParseMemory::TimeString2Timet("2024-03-05 07:00:00"),
              CParseMemory::TimeString2Timet("2024-03-05 07"));
    // Year, month and day zero: mktime's own reading of it.
    std::tm nothing{};
    nothing.tm_year = -1900;
    nothing.tm_mon = -1;
    nothing.tm_isdst = -1;
    EXPECT_EQ(std::mktime(&nothing), CParseMemory::TimeString2Timet("no time"));
}

TEST(TimeString, OfNoTextIsThatOfAnEmptyOne) {
    SetTimeZone("UTC0");
    EXPECT_EQ(CParseMemory::TimeString2Timet(""), CParseMemory::TimeString2Timet(nullptr));
}

TEST(TimeString, ReadsYearsOfFourAndOtherPartsOfTwoCharacters) {
    SetTimeZone("UTC0");
    EXPECT_EQ(CParseMemory::TimeString2Timet("2024-03-05 00:00:00"),
              CParseMemory::TimeString2Timet("2024-3-5 0:0:0"));
    EXPECT_EQ(CParseMemory::TimeString2Timet("2024-12-00 00:00:00"),
              CParseMemory::TimeString2Timet("2024-123-05 07:08:09"));
}

TEST(TimeString, CarriesOverflowingParts) {
    SetTimeZone("UTC0");
    EXPECT_EQ(CParseMemory::TimeString2Timet("2024-03-01 00:00:00"),
              CParseMemory::TimeString2Timet("2024-02-30 00:00:00"));
}

}  // namespace
