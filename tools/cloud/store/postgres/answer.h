#pragma once

#include <libpq-fe.h>

#include <memory>
#include <optional>
#include <string>

#include "base/handle.h"
#include "tools/cloud/store/postgres/patience.h"

namespace corvenna::cloud {

using PostgresResult = std::unique_ptr<PGresult, FreedBy<PQclear>>;
using PostgresHandle = std::unique_ptr<PGconn, FreedBy<PQfinish>>;

/// Takes the answer to what was given to a connection to send; of several the last one.
/// @param connection one that does not block. One thread at a time.
/// @return nullopt when it did not come in time: nothing can be done with the connection any more.
std::optional<PostgresResult> AnswerOf(PGconn *connection, const Patience &patience);

/// The same for a connection in pipeline mode, which it leaves then: takes the answers to all that
/// was asked at once. @return the last one, or the first failure.
std::optional<PostgresResult> AnswerOfAll(PGconn *connection, const Patience &patience);

/// Tells a server on another connection that the answer on one that it serves is not wanted any
/// more. Takes a few seconds at most and fails in silence: it is a service to the server alone.
/// @param backend what the server calls the process that serves the connection.
void CancelOnServer(PGconn *connection, const std::string &backend);

}  // namespace corvenna::cloud
