#include "tools/gateway/history.h"

namespace corvenna::gateway {

namespace {

constexpr const char *kTables = R"(
CREATE TABLE IF NOT EXISTS sample (
    time  INTEGER PRIMARY KEY,
    state INTEGER NOT NULL
);
CREATE INDEX IF NOT EXISTS waiting_sample ON sample (time) WHERE state = 0;
CREATE TABLE IF NOT EXISTS reading (
    time  INTEGER NOT NULL,
    point INTEGER NOT NULL,
    value REAL,
    PRIMARY KEY (time, point)
) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS alarm (
    id        INTEGER PRIMARY KEY,
    time      INTEGER NOT NULL,
    point     INTEGER NOT NULL,
    threshold REAL NOT NULL,
    value     REAL NOT NULL,
    type      INTEGER NOT NULL,
    flag      INTEGER NOT NULL,
    batch     INTEGER
);
CREATE INDEX IF NOT EXISTS alarm_of_batch ON alarm (batch);
CREATE INDEX IF NOT EXISTS alarm_of_point ON alarm (point, type);
CREATE TABLE IF NOT EXISTS batch (
    time  INTEGER PRIMARY KEY,
    state INTEGER NOT NULL
);
CREATE TABLE IF NOT EXISTS served (
    start INTEGER NOT NULL,
    stop  INTEGER NOT NULL,
    next  INTEGER NOT NULL,
    PRIMARY KEY (start, stop)
) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS missed (
    start INTEGER NOT NULL,
    stop  INTEGER NOT NULL,
    time  INTEGER NOT NULL,
    PRIMARY KEY (start, stop, time)
) WITHOUT ROWID;
)";

struct KindSql {
    const char *waiting, *isWaiting, *countWaiting, *setState, *count;
};

constexpr KindSql kSql[] = {
    {"SELECT time FROM sample WHERE state = 0 ORDER BY time",
     "SELECT 1 FROM sample WHERE time = ? AND state = 0",
     "SELECT count(*) FROM sample WHERE state = 0", "UPDATE sample SET state = ? WHERE time = ?",
     "SELECT count(*) FROM sample WHERE state = ?"},
    {"SELECT time FROM batch WHERE state = 0 ORDER BY time",
     "SELECT 1 FROM batch WHERE time = ? AND state = 0",
     "SELECT count(*) FROM batch WHERE state = 0", "UPDATE batch SET state = ? WHERE time = ?",
     "SELECT count(*) FROM batch WHERE state = ?"},
};

const KindSql &Sql(Kind kind) {
    return kSql[static_cast<int>(kind)];
}

std::vector<std::time_t> Times(SQLite::Statement statement) {
    std::vector<std::time_t> times;
    while (statement.executeStep()) {
        times.push_back(static_cast<std::time_t>(statement.getColumn(0).getInt64()));
    }
    return times;
}

Alarm ReadAlarm(SQLite::Statement &row) {
    Alarm alarm{};
    alarm.alarmTime = static_cast<std::int32_t>(row.getColumn(0).getInt64());
    alarm.dataId = static_cast<std::uint32_t>(row.getColumn(1).getInt64());
    alarm.thresholdValue = row.getColumn(2).getDouble();
    alarm.alarmValue = row.getColumn(3).getDouble();
    alarm.alarmType = static_cast<std::int32_t>(row.getColumn(4).getInt64());
    alarm.alarmFlag = static_cast<std::int32_t>(row.getColumn(5).getInt64());
    return alarm;
}

void InsertReadings(SQLite::Database &database, std::time_t time, const Values &values) {
    SQLite::Statement insert(database, "INSERT INTO reading (time, point, value) VALUES (?, ?, ?)");
    for (const auto &[point, value] : values) {
        Run(insert, std::int64_t{time}, std::int64_t{point}, value);
    }
}

void InsertAlarms(SQLite::Database &database, const std::vector<Alarm> &alarms) {
    SQLite::Statement insert(
        database,
        "INSERT INTO alarm (time, point, threshold, value, type, flag) VALUES (?, ?, ?, ?, ?, ?)");
    for (const Alarm &alarm : alarms) {
        Run(insert, std::int64_t{alarm.alarmTime}, std::int64_t{alarm.dataId}, alarm.thresholdValue,
            alarm.alarmValue, std::int64_t{alarm.alarmType}, std::int64_t{alarm.alarmFlag});
    }
}

}  // namespace

History::History(const std::string &path) : database_(OpenDatabase(path)) {
    database_.exec(kTables);
}

bool History::AddSample(std::time_t time, const Values &values, const std::vector<Alarm> &alarms) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const int added = Run(database_, "INSERT OR IGNORE INTO sample (time, state) VALUES (?, 0)",
                          std::int64_t{time});
    if (added == 0) {
        return false;
    }
    InsertReadings(database_, time, values);
    InsertAlarms(database_, alarms);
    transaction.commit();
    return true;
}

std::optional<Values> History::Sample(std::time_t time) const {
    if (!HasSample(time)) {
        return std::nullopt;
    }
    const std::lock_guard lock(mutex_);
    Values values;
    SQLite::Statement rows =
        Query(database_, "SELECT point, value FROM reading WHERE time = ?", std::int64_t{time});
    while (rows.executeStep()) {
        values[static_cast<unsigned>(rows.getColumn(0).getInt64())] =
            rows.isColumnNull(1) ? kNotRead : rows.getColumn(1).getDouble();
    }
    return values;
}

bool History::HasSample(std::time_t time) const {
    const std::lock_guard lock(mutex_);
    return Exists(database_, "SELECT 1 FROM sample WHERE time = ?", std::int64_t{time});
}

std::vector<std::time_t> History::SamplesBetween(std::time_t start, std::time_t end,
                                                 int limit) const {
    const std::lock_guard lock(mutex_);
    SQLite::Statement rows =
        Query(database_, "SELECT time FROM sample WHERE time BETWEEN ? AND ? ORDER BY time LIMIT ?",
              std::int64_t{start}, std::int64_t{end}, std::int64_t{limit});
    return Times(std::move(rows));
}

std::optional<std::time_t> History::MakeAlarmBatch(std::time_t time) {
    const std::lock_guard lock(mutex_);
    if (!Exists(database_, "SELECT 1 FROM alarm WHERE batch IS NULL")) {
        return std::nullopt;
    }
    auto transaction = Begin(database_);
    while (Exists(database_, "SELECT 1 FROM batch WHERE time = ?", std::int64_t{time})) {
        ++time;
    }
    Run(database_, "INSERT INTO batch (time, state) VALUES (?, 0)", std::int64_t{time});
    Run(database_, "UPDATE alarm SET batch = ? WHERE batch IS NULL", std::int64_t{time});
    transaction.commit();
    return time;
}

std::vector<Alarm> History::AlarmBatch(std::time_t batch) const {
    const std::lock_guard lock(mutex_);
    SQLite::Statement rows = Query(
        database_,
        "SELECT time, point, threshold, value, type, flag FROM alarm WHERE batch = ? ORDER BY id",
        std::int64_t{batch});
    std::vector<Alarm> alarms;
    while (rows.executeStep()) {
        alarms.push_back(ReadAlarm(rows));
    }
    return alarms;
}

std::optional<std::int32_t> History::LastAlarmFlag(std::uint32_t point, std::int32_t type) const {
    const std::lock_guard lock(mutex_);
    SQLite::Statement row = Query(
        database_, "SELECT flag FROM alarm WHERE point = ? AND type = ? ORDER BY id DESC LIMIT 1",
        std::int64_t{point}, std::int64_t{type});
    if (!row.executeStep()) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(row.getColumn(0).getInt64());
}

std::vector<std::time_t> History::Waiting(Kind kind) const {
    const std::lock_guard lock(mutex_);
    return Times(Query(database_, Sql(kind).waiting));
}

bool History::IsWaiting(Kind kind, std::time_t time) const {
    const std::lock_guard lock(mutex_);
    return Exists(database_, Sql(kind).isWaiting, std::int64_t{time});
}

void History::SetState(Kind kind, std::time_t time, State state) {
    const std::lock_guard lock(mutex_);
    Run(database_, Sql(kind).setState, std::int64_t{static_cast<int>(state)}, std::int64_t{time});
}

std::int64_t History::Count(Kind kind, State state) const {
    const std::lock_guard lock(mutex_);
    SQLite::Statement row =
        Query(database_, Sql(kind).count, std::int64_t{static_cast<int>(state)});
    return row.executeStep() ? row.getColumn(0).getInt64() : 0;
}

std::int64_t History::CountWaiting(Kind kind) const {
    const std::lock_guard lock(mutex_);
    SQLite::Statement row = Query(database_, Sql(kind).countWaiting);
    return row.executeStep() ? row.getColumn(0).getInt64() : 0;
}

std::optional<std::time_t> History::Served(const Range &range) const {
    const std::lock_guard lock(mutex_);
    SQLite::Statement row = Query(database_, "SELECT next FROM served WHERE start = ? AND stop = ?",
                                  std::int64_t{range.start}, std::int64_t{range.end});
    if (!row.executeStep()) {
        return std::nullopt;
    }
    return static_cast<std::time_t>(row.getColumn(0).getInt64());
}

void History::SetServed(const Range &range, std::time_t next) {
    const std::lock_guard lock(mutex_);
    Run(database_, "INSERT OR REPLACE INTO served (start, stop, next) VALUES (?, ?, ?)",
        std::int64_t{range.start}, std::int64_t{range.end}, std::int64_t{next});
}

void History::ForgetServed(const Range &range) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    for (const char *sql : {"DELETE FROM served WHERE start = ? AND stop = ?",
                            "DELETE FROM missed WHERE start = ? AND stop = ?"}) {
        Run(database_, sql, std::int64_t{range.start}, std::int64_t{range.end});
    }
    transaction.commit();
}

void History::SetMissed(const Range &range, std::time_t time) {
    const std::lock_guard lock(mutex_);
    Run(database_, "INSERT OR IGNORE INTO missed (start, stop, time) VALUES (?, ?, ?)",
        std::int64_t{range.start}, std::int64_t{range.end}, std::int64_t{time});
}

void History::ForgetMissed(const Range &range, std::time_t time) {
    const std::lock_guard lock(mutex_);
    Run(database_, "DELETE FROM missed WHERE start = ? AND stop = ? AND time = ?",
        std::int64_t{range.start}, std::int64_t{range.end}, std::int64_t{time});
}

std::vector<std::time_t> History::Missed(const Range &range) const {
    const std::lock_guard lock(mutex_);
    return Times(Query(database_,
                       "SELECT time FROM missed WHERE start = ? AND stop = ?"
                       " ORDER BY time",
                       std::int64_t{range.start}, std::int64_t{range.end}));
}

std::vector<Range> History::RangesBegun() const {
    const std::lock_guard lock(mutex_);
    SQLite::Statement rows = Query(database_, "SELECT start, stop FROM served");
    std::vector<Range> ranges;
    while (rows.executeStep()) {
        ranges.push_back({static_cast<std::int32_t>(rows.getColumn(0).getInt64()),
                          static_cast<std::int32_t>(rows.getColumn(1).getInt64())});
    }
    return ranges;
}

int History::Prune(std::time_t before) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const auto run = [&](const char *sql) { return Run(database_, sql, std::int64_t{before}); };
    run("DELETE FROM reading WHERE time IN (SELECT time FROM sample WHERE time < ? AND state <> "
        "0)");
    const int pruned = run("DELETE FROM sample WHERE time < ? AND state <> 0");
    run("DELETE FROM alarm WHERE batch IN (SELECT time FROM batch WHERE time < ? AND state <> 0)");
    run("DELETE FROM batch WHERE time < ? AND state <> 0");
    transaction.commit();
    return pruned;
}

}  // namespace corvenna::gateway
