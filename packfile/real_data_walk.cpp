#include "packfile/real_data_walk.h"

#include <unistd.h>

#include <cstddef>

namespace corvenna {
namespace {

constexpr unsigned kUnwrittenChannel = 193;
/// Its devices have no communication status; all their points are always shown.
constexpr unsigned kStatuslessChannel = 192;
constexpr std::uint32_t kStatusCode = 0x0100;
constexpr double kCommunicationUp = 0.1;

constexpr useconds_t kDevicePauseMicroseconds = 100000;
constexpr useconds_t kChannelPauseMicroseconds = 500000;

/// The entries of large maps lie beyond the processor's caches, and a walk from one to the next
/// waits for each. Maps that were filled in their order lie in memory at regular distances, so the
/// entry some steps on is asked for where it would be then; where it is not, nothing is lost.
class FetchAhead {
public:
    template <class Entry>
    void Visit(const Entry &entry) {
        constexpr std::uintptr_t kSteps = 8;
        const auto here = reinterpret_cast<std::uintptr_t>(&entry);
        Fetch(here + kSteps * (here - last_), sizeof entry);
        last_ = here;
    }

private:
    /// From the links of the entry's tree node on, which lie before it.
    static void Fetch(std::uintptr_t entry, std::size_t size) {
        constexpr std::size_t kLinks = 4 * sizeof(void *);
        constexpr std::size_t kCacheLine = 64;
        for (std::uintptr_t at = entry - kLinks; at < entry + size; at += kCacheLine) {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): it is asked for and never read here
            __builtin_prefetch(reinterpret_cast<const void *>(at));
        }
    }

    std::uintptr_t last_ = 0;
};

/// Every point of the channel set, with its own name and unit. Tree and snapshot are merged: the
/// cursor into the snapshot only ever goes forward, across devices and channels.
class ChannelSetSelection {
public:
    static constexpr bool kRestsAfterChannel = true;

    ChannelSetSelection(const MAP_CHANNEL_POINT &points, const Real_Data_Struct &values)
        : points_(points), cursor_(values.begin()), end_(values.end()) {}

    const MAP_CHANNEL_POINT &Channels() const { return points_; }

    static std::uint32_t Id(const MAP_POINTID_ATTR::value_type &entry) { return entry.first; }

    static void Describe(const MAP_POINTID_ATTR::value_type &entry, PointFact &fact) {
        fact.name = entry.second.Name;
        fact.unit = entry.second.EUUnits;
        fact.forwarded = false;
    }

    bool Find(std::uint32_t id, double &value) {
        while (cursor_ != end_ && cursor_->first != id) {
            ++cursor_;
        }
        if (cursor_ == end_) {
            return false;
        }
        valuesAhead_.Visit(*cursor_);
        value = cursor_->second;
        return true;
    }

private:
    const MAP_CHANNEL_POINT &points_;
    Real_Data_Struct::const_iterator cursor_;
    Real_Data_Struct::const_iterator end_;
    FetchAhead valuesAhead_;
};

/// The points of one forwarding channel, under the names given there. A value that the snapshot
/// lacks is shown as missing and abandons nothing.
class ForwardingSelection {
public:
    static constexpr bool kRestsAfterChannel = false;

    ForwardingSelection(const ForwardTables &tables, const Real_Data_Struct &values)
        : tables_(tables), values_(values) {}

    const ForwardTables &Channels() const { return tables_; }

    static std::uint32_t Id(const std::pair<const std::string, std::uint32_t> &entry) {
        return entry.second;
    }

    static void Describe(const std::pair<const std::string, std::uint32_t> &entry,
                         PointFact &fact) {
        fact.name = entry.first.c_str();
        fact.unit = "";
        fact.forwarded = true;
    }

    bool Find(std::uint32_t id, double &value) const {
        value = ValueOf(id, values_);
        return true;
    }

private:
    const ForwardTables &tables_;
    const Real_Data_Struct &values_;
};

template <class Selection>
class Walk {
public:
    Walk(Selection selection, const Real_Data_Struct &values, RealDataSpeller &speller)
        : selection_(selection), values_(values), speller_(speller) {}

    /// @return whether all was visited.
    bool Run() {
        for (const auto &[channel, devices] : selection_.Channels()) {
            if (channel != kUnwrittenChannel && !VisitDevices(channel, devices)) {
                return false;
            }
            if (Selection::kRestsAfterChannel) {
                usleep(kChannelPauseMicroseconds);
            }
        }
        return true;
    }

    std::uint32_t MissingId() const { return missingId_; }

private:
    template <class Devices>
    bool VisitDevices(unsigned channel, const Devices &devices) {
        for (const auto &[device, points] : devices) {
            speller_.BeginDevice(channel, device);
            if (!VisitDevice(channel, device, points)) {
                return false;
            }
            speller_.EndDevice();
            usleep(kDevicePauseMicroseconds);
        }
        return true;
    }

    template <class Points>
    bool VisitDevice(unsigned channel, unsigned device, const Points &points) {
        if (channel == kStatuslessChannel) {
            return VisitPoints(points, std::nullopt);
        }
        const std::uint32_t statusId = channel << 24 | device << 16 | kStatusCode;
        const double status = ValueOf(statusId, values_);
        if (status < kCommunicationUp) {
            speller_.Point(
                {statusId, kCommStatus, "", status, PointKind::kStatusDown, false, false});
            return true;
        }
        return VisitPoints(points, statusId);
    }

    /// @param statusId the id of the status point, none in the channel that has no status.
    template <class Points>
    bool VisitPoints(const Points &points, std::optional<std::uint32_t> statusId) {
        PointFact fact{};
        fact.channel192 = !statusId.has_value();
        for (const auto &entry : points) {
            pointsAhead_.Visit(entry);
            fact.id = Selection::Id(entry);
            fact.kind = fact.id == statusId ? PointKind::kStatusUp : PointKind::kOrdinary;
            Selection::Describe(entry, fact);
            const bool measured = fact.kind == PointKind::kOrdinary || speller_.MeasuresStatus();
            if (measured && !selection_.Find(fact.id, fact.value)) {
                missingId_ = fact.id;
                return false;
            }
            speller_.Point(fact);
        }
        return true;
    }

    Selection selection_;
    const Real_Data_Struct &values_;
    RealDataSpeller &speller_;
    std::uint32_t missingId_ = 0;
    FetchAhead pointsAhead_;
};

template <class Selection>
std::optional<std::uint32_t> Run(Walk<Selection> walk) {
    if (walk.Run()) {
        return std::nullopt;
    }
    return walk.MissingId();
}

}  // namespace

std::optional<std::uint32_t> WalkRealData(const RealDataSource &source, RealDataSpeller &speller) {
    if (source.forwarded != nullptr) {
        return Run(
            Walk(ForwardingSelection(*source.forwarded, source.values), source.values, speller));
    }
    return Run(Walk(ChannelSetSelection(source.points, source.values), source.values, speller));
}

double ValueOf(std::uint32_t id, const Real_Data_Struct &values) {
    const auto found = values.find(id);
    return found == values.end() ? kMissingValue : found->second;
}

}  // namespace corvenna
