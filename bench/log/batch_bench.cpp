// A batch of entries, from the list to the disk, as a writer thread stores one every five seconds.

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>

#include "bench/support/cost.h"
#include "log/log_database.h"
#include "log/log_txt.h"

namespace corvenna::bench {
namespace {

constexpr char kDate[] = "2024-03-05";
constexpr char kTime[] = "07:08:09";
constexpr char kType[] = "INFO";
constexpr char kText[] = "start Send realdata /tmp/up/S20240305070809.json to http://192.168.1.20";

unsigned gSize;

void Check(bool good) {
    if (!good) {
        std::abort();
    }
}

CLogDatabase &Database() {
    static auto *const database = new CLogDatabase;
    return *database;
}

CLogTxt &Text() {
    static auto *const text = new CLogTxt;
    return *text;
}

void Prepare(unsigned size) {
    gSize = size;
    std::remove("/tmp/CloudLog/Cloudlog.db");  // may hold rows of another program
    Database().Init();
    Text().Init();
    chmod("/tmp/CloudLog", 0755);
}

void WriteDatabase() {
    static std::list<ST_LOG_NODE> entries;
    for (unsigned i = 0; i < gSize; ++i) {
        ST_LOG_NODE &entry = entries.emplace_back();
        std::strcpy(entry.RecordDate, kDate);
        std::strcpy(entry.RecordTime, kTime);
        std::strcpy(entry.log_Type, kType);
        std::strcpy(entry.log_Desc, kText);
    }
    Check(Database().WriteLog(&entries) == 0);
}

void WriteText() {
    static std::list<ST_TXT_LOG_NODE> entries;
    for (unsigned i = 0; i < gSize; ++i) {
        ST_TXT_LOG_NODE &entry = entries.emplace_back();
        std::strcpy(entry.date, kDate);
        std::strcpy(entry.time, kTime);
        std::strcpy(entry.type, kType);
        std::strcpy(entry.text, kText);
    }
    Check(Text().WriteLog(&entries) == 0);
}

/// The same statements in one transaction, in a database of their own.
void BareDatabase() {
    sqlite3 *database = nullptr;
    Check(sqlite3_open("/tmp/bare.db", &database) == SQLITE_OK);
    const auto execute = [database](const char *sql) {
        Check(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK);
    };
    sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
    execute(
        "CREATE TABLE IF NOT EXISTS log_tbl(Pid INTEGER PRIMARY KEY, d TEXT, t TEXT, y TEXT, "
        "m TEXT)");
    execute("BEGIN");
    for (unsigned i = 0; i < gSize; ++i) {
        char sql[512];
        std::snprintf(sql, sizeof sql,
                      R"(INSERT INTO log_tbl(d, t, y, m) VALUES("%s", "%s", "%s", "%s"))", kDate,
                      kTime, kType, kText);
        execute(sql);
    }
    execute("COMMIT");
    Check(sqlite3_close(database) == SQLITE_OK);
}

/// The same rows by one statement that is parsed once.
void PreparedDatabase() {
    sqlite3 *database = nullptr;
    Check(sqlite3_open("/tmp/prepared.db", &database) == SQLITE_OK);
    const auto execute = [database](const char *sql) {
        Check(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK);
    };
    execute(
        "CREATE TABLE IF NOT EXISTS log_tbl(Pid INTEGER PRIMARY KEY, d TEXT, t TEXT, y TEXT, "
        "m TEXT)");
    sqlite3_stmt *insert = nullptr;
    Check(sqlite3_prepare_v2(database, "INSERT INTO log_tbl(d, t, y, m) VALUES(?, ?, ?, ?)", -1,
                             &insert, nullptr) == SQLITE_OK);
    execute("BEGIN");
    for (unsigned i = 0; i < gSize; ++i) {
        int column = 0;
        for (const char *text : {kDate, kTime, kType, kText}) {
            Check(sqlite3_bind_text(insert, ++column, text, -1, SQLITE_STATIC) == SQLITE_OK);
        }
        Check(sqlite3_step(insert) == SQLITE_DONE && sqlite3_reset(insert) == SQLITE_OK);
    }
    Check(sqlite3_finalize(insert) == SQLITE_OK);
    execute("COMMIT");
    Check(sqlite3_close(database) == SQLITE_OK);
}

/// The same lines by one write each.
void BareText() {
    const int file = open("/tmp/bare.txt", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    Check(file >= 0);
    for (unsigned i = 0; i < gSize; ++i) {
        char line[512];
        const int length =
            std::snprintf(line, sizeof line, "%s %s logType:%s\n %s\n", kDate, kTime, kType, kText);
        Check(write(file, line, static_cast<std::size_t>(length)) == length);
    }
    close(file);
}

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    using namespace corvenna::bench;
    return CostMain(argc, argv, 1000,
                    {{"database", Prepare, WriteDatabase},
                     {"bare SQLite", Prepare, BareDatabase},
                     {"SQLite, prepared", Prepare, PreparedDatabase},
                     {"text", Prepare, WriteText},
                     {"bare write", Prepare, BareText}});
}
