#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tools/cloud/document/messages.h"
#include "tools/cloud/store/statements.h"

namespace corvenna::cloud {

struct KnownPoint {
    std::int64_t id = 0;
    int channel = 0;
    int device = 0;
    std::string name, unit;
    std::uint64_t document = 0;  ///< the last document that had it, to see one that has it twice
};

struct KnownLayout {
    std::int64_t id = 0;
    std::optional<std::int64_t> newest;  ///< the greatest time of its documents
};

/// What is known of a gateway, kept in memory so that a document that is like the one before costs
/// no queries.
struct KnownGateway {
    std::int64_t id = 0;
    std::optional<std::int64_t> newest;                    ///< the greatest time of its documents
    std::optional<std::int64_t> interval;                  ///< usual seconds between them
    std::int64_t revision = 0;                             ///< of points and layouts
    std::unordered_map<std::string, KnownPoint> points;    ///< by data id
    std::unordered_map<std::string, KnownLayout> layouts;  ///< by their points
};

/// Gateways with their points and layouts, as the database has them; what is new is written there.
/// Used by the writer alone.
class Catalogue {
public:
    explicit Catalogue(Statements &statements) : statements_(statements) {}

    /// The gateway of that serial number; null when there is none.
    KnownGateway *Find(const std::string &sn);
    KnownGateway &FindOrAdd(const std::string &sn);
    /// The point of a sample, with the names that the sample gives it.
    KnownPoint &Point(KnownGateway &gateway, const Sample &sample);
    KnownLayout &Layout(KnownGateway &gateway, const std::vector<std::int64_t> &points);
    /// The points of a layout, in their order.
    std::vector<std::int64_t> PointsOf(std::int64_t layout);

    /// A transaction begins: other processes may have changed what is known.
    void BeginTransaction() { held_.clear(); }
    /// What is in memory may be wrong: a transaction was undone, or a gateway forgotten.
    void Clear();

private:
    KnownGateway &Load(const std::string &sn, const KnownGateway &found);
    /// The points or layouts of a gateway have changed.
    void Revise(KnownGateway &gateway);
    KnownLayout &AddLayout(KnownGateway &gateway, const std::string &key,
                           const std::vector<std::int64_t> &points);
    void KeepBounded();

    Statements &statements_;
    std::unordered_map<std::string, KnownGateway> gateways_;
    std::unordered_set<std::string> held_;  ///< gateways that the transaction has locked
    std::size_t kept_ = 0;                  ///< points and layouts in memory
};

}  // namespace corvenna::cloud
