#include "tools/gateway/history.h"

#include <sqlite3.h>

#include <stdexcept>

namespace corvenna::gateway {

namespace {

constexpr const char *kTables = R"(
CREATE TABLE IF NOT EXISTS sample (
    time  INTEGER PRIMARY KEY,
    state INTEGER NOT NULL,
    lived INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX IF NOT EXISTS waiting_sample ON sample (time) WHERE state = 0;
CREATE TABLE IF NOT EXISTS reading (
    time  INTEGER NOT NULL,
    point INTEGER NOT NULL,
    value REAL,
    PRIMARY KEY (time, point)
) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS other_reading (
    time  INTEGER NOT NULL,
    name  TEXT NOT NULL,
    value REAL,
    PRIMARY KEY (time, name)
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
    state INTEGER NOT NULL,
    lived INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE IF NOT EXISTS life (
    id      INTEGER PRIMARY KEY CHECK (id = 0),
    seconds INTEGER NOT NULL
);
INSERT OR IGNORE INTO life (id, seconds) VALUES (0, 0);
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

// Of tables that were made before samples had an age.
constexpr const char *kIndexes = R"(
CREATE INDEX IF NOT EXISTS age_of_waiting_sample ON sample (lived) WHERE state = 0;
CREATE INDEX IF NOT EXISTS age_of_waiting_batch ON batch (lived) WHERE state = 0;
)";

struct KindSql {
    const char *waiting, *isWaiting, *countWaiting, *setState, *count, *expired;
};

constexpr KindSql kSql[] = {
    {"SELECT time FROM sample WHERE state = 0 ORDER BY time",
     "SELECT 1 FROM sample WHERE time = ? AND state = 0",
     "SELECT count(*) FROM sample WHERE state = 0", "UPDATE sample SET state = ? WHERE time = ?",
     "SELECT count(*) FROM sample WHERE state = ?",
     "SELECT time FROM sample WHERE state = 0 AND lived < ? ORDER BY lived"},
    {"SELECT time FROM batch WHERE state = 0 ORDER BY time",
     "SELECT 1 FROM batch WHERE time = ? AND state = 0",
     "SELECT count(*) FROM batch WHERE state = 0", "UPDATE batch SET state = ? WHERE time = ?",
     "SELECT count(*) FROM batch WHERE state = ?",
     "SELECT time FROM batch WHERE state = 0 AND lived < ? ORDER BY lived"},
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

void InsertOthers(SQLite::Database &database, std::time_t time,
                  const std::map<std::string, double> &others) {
    SQLite::Statement insert(database,
                             "INSERT INTO other_reading (time, name, value) VALUES (?, ?, ?)");
    for (const auto &[name, value] : others) {
        Run(insert, std::int64_t{time}, name, value);
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

/// A table made by an earlier version gets the column that it lacks.
void AddAge(SQLite::Database &database, const std::string &table) {
    const std::string has = "SELECT 1 FROM pragma_table_info('" + table + "') WHERE name = 'lived'";
    if (!Exists(database, has.c_str())) {
        database.exec("ALTER TABLE " + table + " ADD COLUMN lived INTEGER NOT NULL DEFAULT 0");
    }
}

std::string ExplainTrouble(const std::string &path, const std::exception &error) {
    const auto *trouble = dynamic_cast<const SQLite::Exception *>(&error);
    if (trouble == nullptr) {
        return error.what();
    }
    switch (trouble->getErrorCode()) {
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return path + " is damaged (" + error.what() + "). Stop the gateway and move " + path +
                   "* aside: it starts with a new one, sends what is in the spool, and the old "
                   "one can be read with \"sqlite3 FILE .recover\"";
        case SQLITE_FULL:
            return path + " has no room: " + error.what();
        default:
            return path + ": " + error.what();
    }
}

SQLite::Database Open(const std::string &path) {
    try {
        SQLite::Database database = OpenDatabase(path);
        database.exec(kTables);
        AddAge(database, "sample");
        AddAge(database, "batch");
        database.exec(kIndexes);
        return database;
    } catch (const SQLite::Exception &error) {
        throw std::runtime_error(ExplainTrouble(path, error));
    }
}

}  // namespace

History::History(const std::string &path, std::function<Clock::time_point()> now)
    : path_(path), now_(std::move(now)), opened_(now_()), database_(Open(path)) {
    SQLite::Statement row(database_, "SELECT seconds FROM life");
    livedBefore_ = std::chrono::seconds(row.executeStep() ? row.getColumn(0).getInt64() : 0);
}

std::string History::Explain(const std::exception &error) const {
    return ExplainTrouble(path_, error);
}

std::int64_t History::Lived() const {
    return std::chrono::duration_cast<std::chrono::seconds>(livedBefore_ + (now_() - opened_))
        .count();
}

bool History::AddSample(std::time_t time, const Values &values, const std::vector<Alarm> &alarms,
                        const std::map<std::string, double> &others) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t lived = Lived();
    const int added =
        Run(database_, "INSERT OR IGNORE INTO sample (time, state, lived) VALUES (?, 0, ?)",
            std::int64_t{time}, lived);
    if (added == 0) {
        return false;
    }
    Run(database_, "UPDATE life SET seconds = ?", lived);
    InsertReadings(database_, time, values);
    InsertOthers(database_, time, others);
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

std::int64_t History::CountBetween(std::time_t start, std::time_t end) const {
    const std::lock_guard lock(mutex_);
    SQLite::Statement row =
        Query(database_, "SELECT count(*) FROM sample WHERE time BETWEEN ? AND ?",
              std::int64_t{start}, std::int64_t{end});
    return row.executeStep() ? row.getColumn(0).getInt64() : 0;
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
    Run(database_, "INSERT INTO batch (time, state, lived) VALUES (?, 0, ?)", std::int64_t{time},
        Lived());
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

std::vector<std::time_t> History::Expired(Kind kind, std::chrono::seconds age) const {
    const std::lock_guard lock(mutex_);
    return Times(Query(database_, Sql(kind).expired, Lived() - std::int64_t{age.count()}));
}

int History::Prune(std::chrono::seconds age) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t before = Lived() - std::int64_t{age.count()};
    const auto run = [&](const char *sql) { return Run(database_, sql, before); };
    run("DELETE FROM reading WHERE time IN (SELECT time FROM sample WHERE lived < ? AND state <> "
        "0)");
    run("DELETE FROM other_reading WHERE time IN (SELECT time FROM sample WHERE lived < ? AND "
        "state "
        "<> 0)");
    const int pruned = run("DELETE FROM sample WHERE lived < ? AND state <> 0");
    run("DELETE FROM alarm WHERE batch IN (SELECT time FROM batch WHERE lived < ? AND state <> 0)");
    run("DELETE FROM batch WHERE lived < ? AND state <> 0");
    transaction.commit();
    return pruned;
}

}  // namespace corvenna::gateway
