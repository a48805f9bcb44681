#include <algorithm>

#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/ledger.h"

namespace corvenna::cloud {
namespace {

// What one slice deletes: some milliseconds' work.
constexpr int kSlice = 200;
constexpr std::int64_t kDayMilliseconds = 86400000;

// What belongs to a gateway beside its documents, the largest first. Each deletes a slice of it.
constexpr const char *kPurges[] = {
    "DELETE FROM alarms WHERE id IN (SELECT id FROM alarms WHERE gateway = ?1 LIMIT ?2)",
    "DELETE FROM layout_points WHERE layout IN"
    " (SELECT id FROM layouts WHERE gateway = ?1 ORDER BY id LIMIT ?2 / 50)",
    "DELETE FROM layouts WHERE id IN"
    " (SELECT id FROM layouts WHERE gateway = ?1 ORDER BY id LIMIT ?2 / 50)",
    "DELETE FROM points WHERE id IN (SELECT id FROM points WHERE gateway = ?1 LIMIT ?2)",
    "DELETE FROM recalls WHERE id IN (SELECT id FROM recalls WHERE gateway = ?1 LIMIT ?2)",
    "DELETE FROM devices WHERE gateway = ?1 AND ?2 > 0",
};

}  // namespace

bool Ledger::DoChore() {
    return PurgeForgotten() || PurgeOldSamples() || PurgeOldAlarms();
}

bool Ledger::PurgeForgotten() {
    std::int64_t gateway = 0;
    {
        Rows row = statements_.Select(statements_.Spelling().chooseForgotten);
        if (!row.Next()) {
            return false;
        }
        gateway = row.Number(0);
    }
    if (statements_.Run(statements_.Spelling().purgeDocuments, gateway, kSlice) > 0) {
        return true;
    }
    for (const char *purge : kPurges) {
        if (statements_.Run(purge, gateway, kSlice) > 0) {
            return true;
        }
    }
    statements_.Run("DELETE FROM forgotten WHERE gateway = ?", gateway);
    return true;
}

/// The time of day, but never later than this run's beginning and what has passed since: a clock
/// that somebody sets forward, even for seconds, would have everything deleted.
std::int64_t Ledger::NowForAges() const {
    const auto passed = std::chrono::steady_clock::now() - running_;
    return std::min(
        NowMilliseconds(),
        opened_ + std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

bool Ledger::PurgeOldSamples() {
    if (keeping_.samples == 0) {
        return false;
    }
    const std::int64_t oldest = NowForAges() - keeping_.samples * kDayMilliseconds;
    return statements_.Run(statements_.Spelling().purgeOldDocuments, kSlice, oldest) > 0;
}

/// An alarm that goes on is never too old.
bool Ledger::PurgeOldAlarms() {
    if (keeping_.alarms == 0) {
        return false;
    }
    const std::string oldest = UtcText(NowForAges() - keeping_.alarms * kDayMilliseconds);
    std::vector<std::pair<std::int64_t, std::int64_t>> old;
    {
        Rows rows = statements_.Select(
            "SELECT id, gateway FROM (SELECT id, gateway, received FROM alarms ORDER BY id"
            "  LIMIT ? + (SELECT count(*) FROM alarm_states WHERE active)) AS oldest"
            " WHERE received < ?"
            " AND id NOT IN (SELECT alarm FROM alarm_states WHERE active)"
            " ORDER BY (SELECT sn FROM gateways g WHERE g.id = gateway), id",
            kSlice, oldest);
        while (rows.Next()) {
            old.emplace_back(rows.Number(0), rows.Number(1));
        }
    }
    for (const auto &[alarm, gateway] : old) {
        if (statements_.Run("DELETE FROM alarms WHERE id = ?", alarm) > 0) {
            statements_.Run("UPDATE gateways SET alarms = alarms - 1 WHERE id = ?", gateway);
        }
    }
    return !old.empty();
}

}  // namespace corvenna::cloud
