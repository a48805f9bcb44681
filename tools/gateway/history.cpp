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

std::vector<std::time_t> Times(Statement statement) {
    std::vector<std::time_t> times;
    while (statement.Next()) {
        times.push_back(static_cast<std::time_t>(statement.Integer(0)));
    }
    return times;
}

Alarm ReadAlarm(const Statement &row) {
    Alarm alarm{};
    alarm.alarmTime = static_cast<std::int32_t>(row.Integer(0));
    alarm.dataId = static_cast<std::uint32_t>(row.Integer(1));
    alarm.thresholdValue = row.Real(2);
    alarm.alarmValue = row.Real(3);
    alarm.alarmType = static_cast<std::int32_t>(row.Integer(4));
    alarm.alarmFlag = static_cast<std::int32_t>(row.Integer(5));
    return alarm;
}

void InsertReadings(Database &database, std::time_t time, const Values &values) {
    Statement insert =
        database.Prepare("INSERT INTO reading (time, point, value) VALUES (?, ?, ?)");
    for (const auto &[point, value] : values) {
        insert.Bind(std::int64_t{time}).Bind(std::int64_t{point}).Bind(value).Run();
    }
}

void InsertAlarms(Database &database, const std::vector<Alarm> &alarms) {
    Statement insert = database.Prepare(
        "INSERT INTO alarm (time, point, threshold, value, type, flag) VALUES (?, ?, ?, ?, ?, ?)");
    for (const Alarm &alarm : alarms) {
        insert.Bind(std::int64_t{alarm.alarmTime})
            .Bind(std::int64_t{alarm.dataId})
            .Bind(alarm.thresholdValue)
            .Bind(alarm.alarmValue)
            .Bind(std::int64_t{alarm.alarmType})
            .Bind(std::int64_t{alarm.alarmFlag})
            .Run();
    }
}

}  // namespace

History::History(const std::string &path) : database_(path) {
    database_.Execute(kTables);
}

bool History::AddSample(std::time_t time, const Values &values, const std::vector<Alarm> &alarms) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    database_.Prepare("INSERT OR IGNORE INTO sample (time, state) VALUES (?, 0)")
        .Bind(std::int64_t{time})
        .Run();
    if (database_.Changes() == 0) {
        return false;
    }
    InsertReadings(database_, time, values);
    InsertAlarms(database_, alarms);
    transaction.Commit();
    return true;
}

std::optional<Values> History::Sample(std::time_t time) const {
    if (!HasSample(time)) {
        return std::nullopt;
    }
    const std::lock_guard lock(mutex_);
    Values values;
    Statement rows = database_.Prepare("SELECT point, value FROM reading WHERE time = ?");
    rows.Bind(std::int64_t{time});
    while (rows.Next()) {
        values[static_cast<unsigned>(rows.Integer(0))] = rows.IsNull(1) ? kNotRead : rows.Real(1);
    }
    return values;
}

bool History::HasSample(std::time_t time) const {
    const std::lock_guard lock(mutex_);
    return database_.Prepare("SELECT 1 FROM sample WHERE time = ?").Bind(std::int64_t{time}).Next();
}

std::vector<std::time_t> History::SamplesBetween(std::time_t start, std::time_t end,
                                                 int limit) const {
    const std::lock_guard lock(mutex_);
    Statement rows = database_.Prepare(
        "SELECT time FROM sample WHERE time BETWEEN ? AND ? ORDER BY time LIMIT ?");
    rows.Bind(std::int64_t{start}).Bind(std::int64_t{end}).Bind(std::int64_t{limit});
    return Times(std::move(rows));
}

std::optional<std::time_t> History::MakeAlarmBatch(std::time_t time) {
    const std::lock_guard lock(mutex_);
    if (!database_.Prepare("SELECT 1 FROM alarm WHERE batch IS NULL").Next()) {
        return std::nullopt;
    }
    Transaction transaction(database_);
    while (
        database_.Prepare("SELECT 1 FROM batch WHERE time = ?").Bind(std::int64_t{time}).Next()) {
        ++time;
    }
    database_.Prepare("INSERT INTO batch (time, state) VALUES (?, 0)")
        .Bind(std::int64_t{time})
        .Run();
    database_.Prepare("UPDATE alarm SET batch = ? WHERE batch IS NULL")
        .Bind(std::int64_t{time})
        .Run();
    transaction.Commit();
    return time;
}

std::vector<Alarm> History::AlarmBatch(std::time_t batch) const {
    const std::lock_guard lock(mutex_);
    Statement rows = database_.Prepare(
        "SELECT time, point, threshold, value, type, flag FROM alarm WHERE batch = ? ORDER BY id");
    rows.Bind(std::int64_t{batch});
    std::vector<Alarm> alarms;
    while (rows.Next()) {
        alarms.push_back(ReadAlarm(rows));
    }
    return alarms;
}

std::optional<std::int32_t> History::LastAlarmFlag(std::uint32_t point, std::int32_t type) const {
    const std::lock_guard lock(mutex_);
    Statement row = database_.Prepare(
        "SELECT flag FROM alarm WHERE point = ? AND type = ? ORDER BY id DESC LIMIT 1");
    row.Bind(std::int64_t{point}).Bind(std::int64_t{type});
    if (!row.Next()) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(row.Integer(0));
}

std::vector<std::time_t> History::Waiting(Kind kind) const {
    const std::lock_guard lock(mutex_);
    return Times(database_.Prepare(Sql(kind).waiting));
}

bool History::IsWaiting(Kind kind, std::time_t time) const {
    const std::lock_guard lock(mutex_);
    return database_.Prepare(Sql(kind).isWaiting).Bind(std::int64_t{time}).Next();
}

void History::SetState(Kind kind, std::time_t time, State state) {
    const std::lock_guard lock(mutex_);
    database_.Prepare(Sql(kind).setState)
        .Bind(std::int64_t{static_cast<int>(state)})
        .Bind(std::int64_t{time})
        .Run();
}

std::int64_t History::Count(Kind kind, State state) const {
    const std::lock_guard lock(mutex_);
    Statement row = database_.Prepare(Sql(kind).count);
    row.Bind(std::int64_t{static_cast<int>(state)});
    return row.Next() ? row.Integer(0) : 0;
}

std::int64_t History::CountWaiting(Kind kind) const {
    const std::lock_guard lock(mutex_);
    Statement row = database_.Prepare(Sql(kind).countWaiting);
    return row.Next() ? row.Integer(0) : 0;
}

std::optional<std::time_t> History::Served(const Range &range) const {
    const std::lock_guard lock(mutex_);
    Statement row = database_.Prepare("SELECT next FROM served WHERE start = ? AND stop = ?");
    row.Bind(std::int64_t{range.start}).Bind(std::int64_t{range.end});
    if (!row.Next()) {
        return std::nullopt;
    }
    return static_cast<std::time_t>(row.Integer(0));
}

void History::SetServed(const Range &range, std::time_t next) {
    const std::lock_guard lock(mutex_);
    database_.Prepare("INSERT OR REPLACE INTO served (start, stop, next) VALUES (?, ?, ?)")
        .Bind(std::int64_t{range.start})
        .Bind(std::int64_t{range.end})
        .Bind(std::int64_t{next})
        .Run();
}

void History::ForgetServed(const Range &range) {
    const std::lock_guard lock(mutex_);
    database_.Prepare("DELETE FROM served WHERE start = ? AND stop = ?")
        .Bind(std::int64_t{range.start})
        .Bind(std::int64_t{range.end})
        .Run();
}

std::vector<Range> History::RangesBegun() const {
    const std::lock_guard lock(mutex_);
    Statement rows = database_.Prepare("SELECT start, stop FROM served");
    std::vector<Range> ranges;
    while (rows.Next()) {
        ranges.push_back({static_cast<std::int32_t>(rows.Integer(0)),
                          static_cast<std::int32_t>(rows.Integer(1))});
    }
    return ranges;
}

int History::Prune(std::time_t before) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    const auto run = [&](const char *sql) {
        database_.Prepare(sql).Bind(std::int64_t{before}).Run();
    };
    run("DELETE FROM reading WHERE time IN (SELECT time FROM sample WHERE time < ? AND state <> "
        "0)");
    run("DELETE FROM sample WHERE time < ? AND state <> 0");
    const int pruned = database_.Changes();
    run("DELETE FROM alarm WHERE batch IN (SELECT time FROM batch WHERE time < ? AND state <> 0)");
    run("DELETE FROM batch WHERE time < ? AND state <> 0");
    transaction.Commit();
    return pruned;
}

}  // namespace corvenna::gateway
