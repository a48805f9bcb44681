#include "tools/cloud/store/postgres/shared_fault_menu.h"

#include <string>

#include "tools/cloud/store/trouble.h"

namespace corvenna::cloud {
namespace {

// One that another transaction is taking is waited for, and passed over when it was the last time.
constexpr const char *kTake =
    "UPDATE faults SET happened = happened + 1,"
    " \"left\" = CASE WHEN \"left\" > 0 THEN \"left\" - 1 ELSE \"left\" END"
    " WHERE id = (SELECT id FROM faults"
    "  WHERE (exchange = ?1 OR (exchange = 'any' AND ?1 <> 'connection'))"
    "  AND sn IN ('', ?2) AND \"left\" <> 0 ORDER BY id LIMIT 1 FOR UPDATE)"
    " RETURNING id, exchange, sn, kind, value, \"left\", happened";
constexpr const char *kList =
    "SELECT id, exchange, sn, kind, value, \"left\", happened FROM faults ORDER BY id";
constexpr const char *kAdd =
    "INSERT INTO faults(exchange, sn, kind, value, \"left\") VALUES(?1, ?2, ?3, ?4, ?5)";
constexpr const char *kAddIfNew =
    "INSERT INTO faults(exchange, sn, kind, value, \"left\") SELECT ?1, ?2, ?3, ?4, ?5"
    " WHERE NOT EXISTS (SELECT 1 FROM faults"
    "  WHERE exchange = ?1 AND sn = ?2 AND kind = ?3 AND value = ?4)";

/// @return nullopt for one of a kind that only a newer program knows.
std::optional<Fault> FaultOf(const Rows &row) {
    const FaultKindRow *kind = FindKind(row.Text(3));
    if (kind == nullptr) {
        return std::nullopt;
    }
    return Fault{row.Number(0),
                 row.Text(1),
                 row.Text(2),
                 kind->kind,
                 static_cast<long>(row.Number(4)),
                 static_cast<long>(row.Number(5)),
                 static_cast<long>(row.Number(6))};
}

/// @return its number; nullopt when it was not to be added.
std::optional<std::int64_t> Insert(PostgresConnection &connection, const char *sql,
                                   const Fault &fault) {
    return connection.Insert(sql, {fault.exchange, fault.sn, RowOf(fault.kind).name,
                                   std::int64_t{fault.value}, std::int64_t{fault.left}});
}

}  // namespace

SharedFaultMenu::SharedFaultMenu(const std::shared_ptr<PostgresServer> &server)
    : server_(server), watch_(server) {}

/// For what is asked often once there are faults.
PostgresConnection &SharedFaultMenu::Kept() const {
    if (!kept_) {
        kept_ = std::make_unique<PostgresConnection>(server_, PostgresConnection::Use::kReading);
    }
    return *kept_;
}

/// Of its own: it is rare, and may wait for other processes while requests go on.
std::unique_ptr<PostgresConnection> SharedFaultMenu::ForChange() const {
    return std::make_unique<PostgresConnection>(server_, PostgresConnection::Use::kWriting);
}

/// Takes the fault back when some process may not know of it.
void SharedFaultMenu::TellAll(PostgresConnection &connection, std::int64_t id) {
    try {
        FaultWatch::TellAll(connection);
    } catch (const StoreFailure &) {
        Remove(id);
        throw;
    }
}

Fault SharedFaultMenu::Add(Fault fault) {
    const auto connection = ForChange();
    fault.id = Insert(*connection, kAdd, fault).value_or(0);
    TellAll(*connection, fault.id);
    return fault;
}

void SharedFaultMenu::AddAtStart(const Fault &fault) {
    const auto connection = ForChange();
    Transaction transaction(*connection);
    connection->Execute("SELECT pg_advisory_xact_lock(1131574902, 1)");  // processes start together
    const auto id = Insert(*connection, kAddIfNew, fault);
    transaction.Commit();
    if (id) {
        TellAll(*connection, *id);
    }
}

bool SharedFaultMenu::Remove(std::int64_t id) {
    return ForChange()->Run("DELETE FROM faults WHERE id = ?", {id}) > 0;
}

void SharedFaultMenu::Clear() {
    ForChange()->Run("DELETE FROM faults", {});
}

std::vector<Fault> SharedFaultMenu::List() const {
    const std::lock_guard lock(mutex_);
    std::vector<Fault> faults;
    Rows rows = Kept().Select(kList, {});
    while (rows.Next()) {
        if (auto fault = FaultOf(rows)) {
            faults.push_back(std::move(*fault));
        }
    }
    return faults;
}

std::optional<Fault> SharedFaultMenu::Take(std::string_view exchange, std::string_view sn) {
    if (!watch_.MayHaveFaults()) {
        return std::nullopt;
    }
    const std::lock_guard lock(mutex_);
    PostgresConnection &connection = Kept();
    Transaction transaction(connection);
    Rows row = connection.Select(kTake, {exchange, sn});
    std::optional<Fault> fault = row.Next() ? FaultOf(row) : std::nullopt;
    if (fault && fault->left == 0) {
        connection.Run("DELETE FROM faults WHERE id = ?", {fault->id});
    }
    transaction.Commit();
    return fault;
}

}  // namespace corvenna::cloud
