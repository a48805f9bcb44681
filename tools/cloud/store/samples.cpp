#include <algorithm>
#include <cstdlib>

#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/ledger.h"

namespace corvenna::cloud {
namespace {

constexpr std::int64_t kHour = 3600;
// Between sampling and sending of one document and of the same one an hour later.
constexpr std::int64_t kJitter = 600;
// The farthest that local time is ahead of UTC, and what a clock may be wrong besides.
constexpr std::int64_t kFarthestZone = 14 * kHour;
constexpr std::int64_t kClockError = kHour;
constexpr std::int64_t kDay = 24 * kHour;

/// Whether a sample of that time can have been taken already, wherever the gateway stands.
bool IsPast(const Contact &contact, std::int64_t time) {
    return time <= contact.received / 1000 + kFarthestZone + kClockError;
}

/// The usual interval after one more step: long steps (the gateway was off) count little.
std::int64_t Interval(const std::optional<std::int64_t> &usual, std::int64_t step) {
    constexpr std::int64_t kStart = 60;
    return usual ? (3 * *usual + std::min(step, 4 * *usual + kStart)) / 4 : std::min(step, kDay);
}

}  // namespace

/// Whether a range with that time was ever asked for.
bool Ledger::WasRecalled(const KnownGateway &gateway, std::int64_t time) {
    return statements_.Exists(
        "SELECT 1 FROM recalls WHERE gateway = ?1 AND start <= ?2 AND \"end\" >= ?2", gateway.id,
        TimeText(time));
}

/// The documents of that time that are there already, in the order of their numbers, and whether
/// files wait.
Ledger::Known Ledger::LookUp(std::int64_t gateway, std::int64_t time) {
    Known known;
    Rows rows = statements_.Select(
        "SELECT CASE WHEN EXISTS (SELECT 1 FROM files WHERE gateway = ?1 AND finished IS NULL)"
        " THEN 1 ELSE 0 END, d.again, d.sent, d.layout FROM (SELECT 1) AS one"
        " LEFT JOIN documents d ON d.gateway = ?1 AND d.time = ?2 ORDER BY d.id",
        gateway, time);
    while (rows.Next()) {
        known.filesWait = rows.Number(0) != 0;
        if (!rows.IsNull(1)) {
            known.documents.push_back(
                {static_cast<int>(rows.Number(1)), rows.Number(2), rows.Number(3)});
        }
    }
    return known;
}

/// Documents carry the gateway's local time, which comes twice in the hour that the end of summer
/// time repeats. What tells the two apart is the time of sending: a document of a known time that
/// was sent an hour after the known one, and not because of a recall, is another one.
/// @return 0 for the first run of the hour, 1 for the second.
int Ledger::OccurrenceOf(const KnownGateway &gateway, const Contact &contact, std::int64_t time,
                         const std::vector<KnownDocument> &documents) {
    std::optional<std::int64_t> firstSent;
    for (const KnownDocument &known : documents) {
        const std::int64_t apart = std::abs(contact.sent - known.sent);
        if (known.again == 1 && apart < kHour - kJitter) {
            return 1;
        }
        if (known.again == 0 && !firstSent) {
            firstSent = known.sent;
        }
    }
    if (!firstSent || std::abs(contact.sent - *firstSent - kHour) > kJitter) {
        return 0;
    }
    return WasRecalled(gateway, time) ? 0 : 1;
}

/// The points of which one of the documents has a sample.
std::unordered_set<std::int64_t> Ledger::KnownPoints(const std::vector<KnownDocument> &documents,
                                                     int again) {
    std::unordered_set<std::int64_t> known;
    for (const KnownDocument &document : documents) {
        if (document.again == again) {
            const auto points = catalogue_.PointsOf(document.layout);
            known.insert(points.begin(), points.end());
        }
    }
    return known;
}

Stored Ledger::StoreRealData(const Contact &contact, const RealDataMessage &message) {
    KnownGateway &gateway = catalogue_.FindOrAdd(contact.sn);
    Note(contact, gateway.id, "realdata");
    const std::int64_t time = SecondsOf(message.time);
    const Known there = LookUp(gateway.id, time);
    const int again = OccurrenceOf(gateway, contact, time, there.documents);
    const auto known = KnownPoints(there.documents, again);
    std::vector<std::int64_t> points;
    std::string values;
    ++documents_;
    for (const Sample &sample : message.samples) {
        KnownPoint &point = catalogue_.Point(gateway, sample);
        if (point.document == documents_ || known.count(point.id) != 0) {
            continue;
        }
        point.document = documents_;
        points.push_back(point.id);
        values += (values.empty() ? "" : " ") + sample.value;
    }
    if (!points.empty()) {
        AddDocument(gateway, contact, time, again, points, values);
    }
    const std::size_t repeated = message.samples.size() - points.size();
    return {static_cast<int>(points.size()), static_cast<int>(repeated), there.filesWait};
}

void Ledger::AddDocument(KnownGateway &gateway, const Contact &contact, std::int64_t time,
                         int again, const std::vector<std::int64_t> &points,
                         const std::string &values) {
    KnownLayout &layout = catalogue_.Layout(gateway, points);
    statements_.RunLater(
        "INSERT INTO documents(gateway, time, again, layout, sent, received, \"values\")"
        " VALUES(?, ?, ?, ?, ?, ?, ?)",
        gateway.id, time, again, layout.id, contact.sent, contact.received, values);
    // A sample of the future is kept, but it would stay the current one until its time has come.
    if (IsPast(contact, time)) {
        NoteNewest(gateway, layout, time);
    }
}

void Ledger::Prepare(const Subject &about) {
    catalogue_.BeginTransaction();
    constexpr std::int64_t kWeek = 7 * kDay;
    const char *const keepWeek = statements_.Spelling().keepWeek;
    if (keepWeek == nullptr || !about.time) {
        return;
    }
    const std::int64_t week = *about.time / kWeek;
    if (weeks_.count(week) == 0) {
        statements_.Select(keepWeek, week);
        weeks_.insert(week);
    }
}

/// Behind the INSERT of its document.
void Ledger::NoteNewest(KnownGateway &gateway, KnownLayout &layout, std::int64_t time) {
    if (!layout.newest || time >= *layout.newest) {
        layout.newest = time;
        statements_.RunLater(statements_.Spelling().noteNewestOfLayout, time, layout.id);
    }
    if (gateway.newest && time > *gateway.newest) {
        gateway.interval = Interval(gateway.interval, time - *gateway.newest);
        gateway.newest = time;
        statements_.RunLater("UPDATE gateways SET interval = ?, newest = ? WHERE id = ?",
                             *gateway.interval, time, gateway.id);
    }
    if (!gateway.newest) {
        gateway.newest = time;
        statements_.RunLater("UPDATE gateways SET newest = ? WHERE id = ?", time, gateway.id);
    }
}

}  // namespace corvenna::cloud
