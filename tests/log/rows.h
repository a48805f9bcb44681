#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

namespace corvenna::test {

constexpr char kDatabase[] = "/tmp/CloudLog/Cloudlog.db";
constexpr int kPatienceMilliseconds = 300000;

struct CloseDatabase {
    void operator()(sqlite3 *database) const { sqlite3_close(database); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

inline Database OpenDatabase() {
    sqlite3 *handle = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_open(kDatabase, &handle));
    sqlite3_busy_timeout(handle, kPatienceMilliseconds);  // a writer may be at work
    return Database(handle);
}

inline void Execute(sqlite3 *database, const std::string &sql) {
    char *message = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &message))
        << sql << ": " << (message != nullptr ? message : "");
    sqlite3_free(message);
}

/// The first column of every row, as text.
inline std::vector<std::string> Query(const std::string &sql) {
    const Database database = OpenDatabase();
    std::vector<std::string> rows;
    const auto collect = [](void *list, int, char **values, char **) {
        static_cast<std::vector<std::string> *>(list)->emplace_back(values[0] != nullptr ? values[0]
                                                                                         : "NULL");
        return 0;
    };
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(database.get(), sql.c_str(), collect, &rows, nullptr)) << sql;
    return rows;
}

}  // namespace corvenna::test
