#include "tools/cloud/store/postgres/answer.h"

#include <poll.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace corvenna::cloud {
namespace {

using Clock = Patience::Clock;
using Milliseconds = std::chrono::milliseconds;

// The end of the program may come in the midst of a wait; it is looked for this often.
constexpr Milliseconds kLongestSleep{200};
// In whole seconds of the clock: of two only a little more than one may be left, and a server that
// has much to do needs that.
constexpr const char *kSecondsToConnect = "5";
constexpr std::chrono::seconds kForCancelling{2};

/// Waits until the server takes or says something. @return false when it is too late for that.
bool WaitFor(PGconn *connection, bool unsent, Clock::time_point began, const Patience &patience) {
    pollfd socket{PQsocket(connection), static_cast<short>(unsent ? POLLIN | POLLOUT : POLLIN), 0};
    for (;;) {
        const auto left = patience.Until(began) - Clock::now();
        if (left <= Clock::duration::zero()) {
            return false;
        }
        const auto sleep = std::min(std::chrono::ceil<Milliseconds>(left), kLongestSleep);
        const int ready = poll(&socket, 1, static_cast<int>(sleep.count()));
        // What is wrong with it is told by its next use.
        if (ready > 0 || (ready < 0 && errno != EINTR)) {
            return true;
        }
    }
}

/// Sends and receives until there is a result to be taken.
bool Exchanged(PGconn *connection, Clock::time_point began, const Patience &patience) {
    int unsent = PQflush(connection);
    while (unsent > 0 || (unsent == 0 && PQisBusy(connection) != 0)) {
        if (!WaitFor(connection, unsent > 0, began, patience)) {
            return false;
        }
        if (PQconsumeInput(connection) == 0) {
            return true;  // it broke, which is a result
        }
        unsent = PQflush(connection);
    }
    return true;
}

/// A connection to the very server that another one has reached.
PostgresHandle ConnectBeside(PGconn *connection) {
    using Options = std::unique_ptr<PQconninfoOption, FreedBy<PQconninfoFree>>;
    const Options options(PQconninfo(connection));
    std::vector<const char *> keys;
    std::vector<const char *> values;
    for (const PQconninfoOption *option = options.get(); option && option->keyword; ++option) {
        keys.push_back(option->keyword);
        values.push_back(option->val);
    }
    // Of keys that come again the last one counts.
    for (const auto &[key, value] :
         {std::pair{"host", static_cast<const char *>(PQhost(connection))},
          {"hostaddr", PQhostaddr(connection)},
          {"port", PQport(connection)},
          {"target_session_attrs", "any"},
          {"connect_timeout", kSecondsToConnect}}) {
        keys.push_back(key);
        values.push_back(value);
    }
    keys.push_back(nullptr);
    values.push_back(nullptr);
    constexpr int kDatabaseNameIsAName = 0;
    return PostgresHandle(PQconnectdbParams(keys.data(), values.data(), kDatabaseNameIsAName));
}

}  // namespace

std::optional<PostgresResult> AnswerOf(PGconn *connection, const Patience &patience) {
    const Clock::time_point began = Clock::now();
    PostgresResult last;
    while (Exchanged(connection, began, patience)) {
        PostgresResult next(PQgetResult(connection));
        if (!next) {
            return last;
        }
        last = std::move(next);
    }
    return std::nullopt;
}

std::optional<PostgresResult> AnswerOfAll(PGconn *connection, const Patience &patience) {
    const Clock::time_point began = Clock::now();
    PostgresResult kept;
    bool between = false;  // two questions; nothing twice is the end of a connection that broke
    while (Exchanged(connection, began, patience)) {
        PostgresResult next(PQgetResult(connection));
        if (PQresultStatus(next.get()) == PGRES_PIPELINE_SYNC || (!next && between)) {
            const bool left = PQexitPipelineMode(connection) == 1;
            return left || PQstatus(connection) != CONNECTION_OK
                       ? std::make_optional(std::move(kept))
                       : std::nullopt;
        }
        between = !next;
        if (next && (!kept || PQresultStatus(kept.get()) != PGRES_FATAL_ERROR)) {
            kept = std::move(next);
        }
    }
    return std::nullopt;
}

// Ours: not with PQcancel, which waits without limit for a server that has stopped to work.
void CancelOnServer(PGconn *connection, const std::string &backend) {
    const PostgresHandle beside = ConnectBeside(connection);
    const char *const values[] = {backend.c_str()};
    if (PQstatus(beside.get()) == CONNECTION_OK && PQsetnonblocking(beside.get(), 1) == 0 &&
        PQsendQueryParams(beside.get(), "SELECT pg_cancel_backend($1)", 1, nullptr, values, nullptr,
                          nullptr, 0) == 1) {
        AnswerOf(beside.get(), Patience(kForCancelling));
    }
}

}  // namespace corvenna::cloud
