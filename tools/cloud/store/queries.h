#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "tools/cloud/metrics/metrics.h"
#include "tools/cloud/store/store.h"

namespace corvenna::cloud {

/// A part of a list.
struct Page {
    std::string json;
    std::int64_t total;  ///< entries of the whole list
};

/// Which gateways are listed.
struct GatewayFilter {
    std::string search;  ///< stands in serial number, name, site, owner or room
    bool overdueOnly = false;
    std::int64_t offset = 0;
    std::int64_t limit = 0;
};

constexpr std::int64_t kNoBound = std::numeric_limits<std::int64_t>::max();

/// Which alarms are listed, newest first.
struct AlarmFilter {
    std::string sn;  ///< empty: of all gateways
    bool activeOnly = false;
    std::int64_t before = kNoBound;  ///< those with smaller numbers
    std::int64_t limit = 0;
};

/// Types of alarms in words.
using AlarmWords = std::map<std::int64_t, std::string>;
/// Those of corvenna-gateway. The numbers are chosen by the hosts of gateways.
AlarmWords KnownAlarmWords();

/// What page and API show of the database, as JSON. Any thread may call. Failures of the storage
/// throw std::runtime_error. nullopt is returned when there is no such gateway or point.
class Queries {
public:
    explicit Queries(Store &store, const AlarmWords &words);

    /// How things stand: what needs a look, and what came last.
    std::string Overview();
    Page Gateways(const GatewayFilter &filter);
    std::optional<std::string> Gateway(const std::string &sn);
    std::string Devices(const std::string &sn);
    std::string Points(const std::string &sn);
    /// The last samples of one point within a range of times, oldest first.
    std::string History(const std::string &sn, const std::string &dblink, const TimeRange &range,
                        std::int64_t limit);
    /// Lowest, highest and mean value of points within equal stretches of a range of times.
    /// @param range an empty end: the newest sample; an empty start: a day before the end.
    std::optional<std::string> Trends(const std::string &sn,
                                      const std::vector<std::string> &dblinks,
                                      const TimeRange &range, std::int64_t buckets);
    /// Samples of points as a table, written to a file that has no name.
    /// Throws a Refusal when it would be too long.
    std::optional<FileDescriptor> Export(const std::string &sn,
                                         const std::vector<std::string> &dblinks,
                                         const TimeRange &range);
    Page Alarms(const AlarmFilter &filter);
    std::string Recalls(const std::string &sn);
    std::string Files(const std::string &sn);
    /// How many there are of what /metrics shows.
    StoreFigures Figures();

private:
    template <class... Values>
    std::string List(const std::string &sql, const Values &...values);
    template <class... Values>
    std::int64_t Count(const std::string &sql, const Values &...values);

    Store &store_;
    std::string selectAlarms_;
};

}  // namespace corvenna::cloud
