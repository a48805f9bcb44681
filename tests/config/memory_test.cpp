// What the loaders do when memory is short, at each of their allocations: they load all of a file,
// or fail with a message.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <string>

#include "log/log.h"
#include "tests/config/loaders.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/files.h"

namespace {

int gErrors = 0;

}  // namespace

// Without memory, unlike those of tests/support.
extern "C" {
int __wrap_log_Text(int level, const char *format, ...);
int __wrap_log_DB(int level, const char *format, ...);
int __wrap_usleep(unsigned microseconds);

int __wrap_log_Text(int level, const char *, ...) {
    gErrors += level == kLogError ? 1 : 0;
    return 1;
}
int __wrap_log_DB(int, const char *, ...) {
    return 1;
}
int __wrap_usleep(unsigned) {
    return 0;
}
}

namespace corvenna::test {
namespace {

constexpr char kPath[] = "/quorvane/Config/file.xml";
constexpr char kPoints[] = "/quorvane/Config/points.xml";

template <class Record>
bool SameBytes(const Record &one, const Record &other) {
    return std::memcmp(&one, &other, sizeof one) == 0;
}

template <class Map>
bool SameRecords(const Map &one, const Map &other) {
    if (one.size() != other.size()) {
        return false;
    }
    for (auto a = one.begin(), b = other.begin(); a != one.end(); ++a, ++b) {
        if (a->first != b->first || !SameBytes(a->second, b->second)) {
            return false;
        }
    }
    return true;
}

bool IsSame(CSysSet &one, CSysSet &other) {
    return SameBytes(*one.GetCloudConfigAttr(), *other.GetCloudConfigAttr()) &&
           SameBytes(*one.GetGateWayAttr(), *other.GetGateWayAttr()) &&
           SameBytes(*one.GetHttpsCertInfo(), *other.GetHttpsCertInfo());
}

bool IsSame(CsnSet &one, CsnSet &other) {
    return std::strcmp(one.GetSn(), other.GetSn()) == 0 && one.GetModel() == other.GetModel();
}

bool IsSame(CForwardConfig &one, CForwardConfig &other) {
    return one.GetForwardMap() == other.GetForwardMap();
}

template <class Map>
const Map &MapOf(CChannelSet &set) {
    Map *map = nullptr;
    set.GetAttr(&map);
    return *map;
}

bool IsSame(CChannelSet &one, CChannelSet &other) {
    return SameRecords(MapOf<MAP_DEV_ATTR>(one), MapOf<MAP_DEV_ATTR>(other)) &&
           SameRecords(MapOf<MAP_POINTID_ATTR>(one), MapOf<MAP_POINTID_ATTR>(other));
}

class ShortMemory : public testing::TestWithParam<Failing> {
protected:
    ShortMemory() {
        WriteFile("/quorvane/Config/version/main-version.conf", "1.2.3\n");
        WriteFile(kPoints, kLoaders[4].document);
    }

    /// Loads a file, of `files` with those that it names, at each allocation that fails.
    template <class Set, class Load>
    static void ExpectAllOrNothing(const std::string &document, int files, Load load) {
        WriteFile(kPath, document);
        Set whole;
        ASSERT_EQ(0, load(whole));
        int result = 0;
        bool good = false;
        const auto attempt = [&] {
            gErrors = 0;
            Set set;
            result = load(set);
            good = result == 0 ? IsSame(set, whole) : set.IsOpen() == -1 && gErrors == 1;
        };
        ThrowOnce();
        std::ptrdiff_t kept = LiveBlocks();
        int failures = 0;
        int wrong = 0;
        int leaks = 0;
        int wrongAfterwards = 0;
        const std::size_t allocations = FailEachAllocation(
            GetParam(), [] {}, attempt,
            [&] {
                failures += result == 0 ? 0 : 1;
                wrong += good ? 0 : 1;
                leaks += LiveBlocks() == kept ? 0 : 1;
                kept = LiveBlocks();
                attempt();
                wrongAfterwards += result == 0 && good ? 0 : 1;
            });
        EXPECT_EQ(0, wrong);
        // libxml2 keeps two blocks when zlib, which might have to decompress the file, finds none.
        EXPECT_LE(leaks, files);
        EXPECT_EQ(0, wrongAfterwards);
        EXPECT_GT(allocations, 20U);
        EXPECT_GT(failures, 20);
    }

    /// The first exception of a process makes what all later ones use.
    static void ThrowOnce() {
        try {
            throw std::bad_alloc();
        } catch (const std::bad_alloc &) {
        }
    }

    template <class Set>
    static void ExpectOpenAllOrNothing(const std::string &document, int files = 1) {
        ExpectAllOrNothing<Set>(document, files, [](Set &set) { return set.Open(kPath); });
    }
};

TEST_P(ShortMemory, LoadsAllSystemSettingsOrFails) {
    ExpectOpenAllOrNothing<CSysSet>(kLoaders[0].document);
}

TEST_P(ShortMemory, LoadsTheWholeIdentityOrFails) {
    ExpectOpenAllOrNothing<CsnSet>(
        "<!DOCTYPE x [<!ENTITY e 'ABC00123456789012345'>]><snConfig><model model='Mosso-G'/>"
        "<sn sn='&e;'/></snConfig>");
}

TEST_P(ShortMemory, LoadsAllForwardingTablesOrFails) {
    ExpectOpenAllOrNothing<CForwardConfig>(
        "<Fwd_srv><Fwd_chan lnk_p='MODBUS_TCP' addr='7'><Fwd_tbl><pt PointName='Ua' "
        "db_link='0x01031123'/><pt PointName='a name beyond what a string holds' "
        "db_link='0x02031123'/></Fwd_tbl></Fwd_chan></Fwd_srv>");
}

TEST_P(ShortMemory, LoadsTheWholeTemplateWithAllPointsOrFails) {
    ExpectOpenAllOrNothing<CChannelSet>(std::string("<ChannelConfig><Channel No='1'><Dev Name='") +
                                            kPoints + "' SlaveId='1'/><Dev Name='" + kPoints +
                                            "' SlaveId='2'/></Channel></ChannelConfig>",
                                        3);
}

TEST_P(ShortMemory, LoadsAllPointsOfADeviceOrFails) {
    ExpectAllOrNothing<CChannelSet>(kLoaders[4].document, 1, [](CChannelSet &set) {
        ST_DEV_ATTR dev{};
        std::memcpy(dev.Name, kPath, sizeof kPath);
        return set.LoadDevPointAttr(dev);
    });
}

TEST_P(ShortMemory, LoadsAHeldDocumentWholeOrFreesIt) {
    WriteFile(kPath,
              "<Fwd_srv><Fwd_chan lnk_p='MODBUS_TCP'><Fwd_tbl><pt PointName='Ua'/>"
              "</Fwd_tbl></Fwd_chan></Fwd_srv>");
    const auto loadAgain = [](CForwardConfig &set) {
        const int opened = set.Open(kPath);
        return opened == 0 ? set.LoadNodeFromXml() : opened;
    };
    ExpectAllOrNothing<CForwardConfig>(ReadFile(kPath), 1, loadAgain);
}

TEST_P(ShortMemory, AddsADeviceAndAPointOrFails) {
    const auto add = [](CChannelSet &set) {
        ST_DEV_ATTR dev{};
        dev.SlaveId = 1;
        ST_POINTID_ATTR point{};
        point.db_link = 1;
        const int added = set.AddDev(dev);
        return added == 0 ? set.AddSamplePoint(point) : added;
    };
    int result = 0;
    const std::size_t allocations = FailEachAllocation(
        GetParam(), [] { gErrors = 0; },
        [&] {
            CChannelSet other;
            result = add(other);
        },
        [&] {
            EXPECT_EQ(-1, result);
            EXPECT_EQ(1, gErrors);
        });
    EXPECT_EQ(5U, allocations) << "a device, a channel, its device, the point twice";
}

INSTANTIATE_TEST_SUITE_P(Allocations, ShortMemory,
                         testing::Values(Failing::kOne, Failing::kFromThereOn),
                         [](const auto &failing) {
                             return failing.param == Failing::kOne ? "One" : "FromThereOn";
                         });

}  // namespace
}  // namespace corvenna::test
