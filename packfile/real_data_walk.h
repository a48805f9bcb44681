#pragma once

#include <cstdint>
#include <optional>

#include "config/channel_set.h"
#include "config/forward_config.h"
#include "packfile/records.h"

namespace corvenna {

/// The point tables of one forwarding channel: channel → device → point name → data id.
using ForwardTables = MAP_FORWARD::mapped_type;

/// Everything that one real-data document shows; all borrowed and only read.
struct RealDataSource {
    const MAP_CHANNEL_POINT &points;  ///< the channel set
    const ForwardTables *forwarded;   ///< shown instead of the channel set; null: none
    const Real_Data_Struct &values;   ///< the host's snapshot
};

enum class PointKind {
    kOrdinary,
    kStatusUp,    ///< the communication-status point of a device that answers
    kStatusDown,  ///< the only entry of a device that does not
};

/// One entry of a device's list, whatever the format.
struct PointFact {
    std::uint32_t id;
    const char *name;
    const char *unit;  ///< "" in the forwarding tables, which know none
    double value;      ///< what was found; meaningless for a kStatusUp whose value nobody measures
    PointKind kind;
    bool channel192;
    bool forwarded;
};

constexpr char kCommStatus[] = "Comm_Status";

/// How one format is spelt.
class RealDataSpeller {
public:
    virtual ~RealDataSpeller() = default;

    /// Whether the status point of a device that answers shows its measured value, and so must be
    /// in the snapshot at its place like any other point.
    virtual bool MeasuresStatus() const = 0;
    virtual void BeginDevice(unsigned channel, unsigned device) = 0;
    virtual void Point(const PointFact &point) = 0;
    virtual void EndDevice() = 0;
};

/// Visits what belongs into a document, in its order. Rests after each device and channel, so that
/// a file of many devices does not monopolise the processor.
/// @return the data id that the snapshot lacks, where the walk was abandoned; nothing when all was
///         visited.
std::optional<std::uint32_t> WalkRealData(const RealDataSource &source, RealDataSpeller &speller);

/// What is shown for a data id that the snapshot does not hold.
constexpr double kMissingValue = -1.0;

/// The value of a data id, kMissingValue when the snapshot does not hold it.
double ValueOf(std::uint32_t id, const Real_Data_Struct &values);

}  // namespace corvenna
