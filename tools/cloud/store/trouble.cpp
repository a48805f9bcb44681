#include "tools/cloud/store/trouble.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <cerrno>
#include <system_error>

namespace corvenna::cloud {
namespace {

Trouble OfSqlite(int code) {
    switch (code) {
        case SQLITE_FULL:
            return kStoreFull;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_IOERR:
        case SQLITE_CANTOPEN:
        case SQLITE_READONLY:
        case SQLITE_PROTOCOL:
            return kStoreAway;
        default:
            return kStoreFailed;
    }
}

Trouble OfSystem(int code) {
    switch (code) {
        case ENOSPC:
        case EDQUOT:
            return kStoreFull;
        case EIO:
        case EROFS:
        case EMFILE:
        case ENFILE:
            return kStoreAway;
        default:
            return kStoreFailed;
    }
}

}  // namespace

Trouble TroubleOf(const std::exception &error) {
    if (const auto *failure = dynamic_cast<const StoreFailure *>(&error)) {
        return failure->Means();
    }
    if (const auto *sqlite = dynamic_cast<const SQLite::Exception *>(&error)) {
        return OfSqlite(sqlite->getErrorCode() & 0xFF);  // without what an error code adds to it
    }
    if (const auto *system = dynamic_cast<const std::system_error *>(&error)) {
        return OfSystem(system->code().value());
    }
    return kStoreFailed;
}

}  // namespace corvenna::cloud
