#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tools/cloud/faults/fault_menu.h"
#include "tools/cloud/store/connection.h"

namespace corvenna::cloud {

/// What an offered file holds. Any thread may read.
class Content {
public:
    virtual ~Content() = default;
    /// Reads bytes from an offset on. @return how many there were; fewer when the store fails.
    virtual std::size_t Read(std::int64_t offset, char *to, std::size_t length) const noexcept = 0;
};

/// Where everything is kept that must outlive the program. Any thread may call. Failures throw an
/// exception that TroubleOf knows.
class Engine {
public:
    virtual ~Engine() = default;

    /// The connection of the one writer, to tables that are there and of the present layout.
    /// Throws std::runtime_error, with nothing changed, when what is there is not ours.
    virtual std::unique_ptr<Connection> OpenWriter() = 0;
    /// A connection that only reads.
    virtual std::unique_ptr<Connection> OpenReader() = 0;

    // Contents of offered files are known by their token, which nobody can guess.

    virtual void KeepContent(const std::string &token, std::string_view content) = 0;
    /// @return null when it is gone.
    virtual std::shared_ptr<const Content> OpenContent(const std::string &token) = 0;
    virtual void DropContent(const std::string &token) = 0;
    /// Drops contents that nobody knows, because a program was killed before it had written more.
    virtual void DropStrayContents(
        const std::function<bool(const std::string &token)> &isKnown) = 0;

    /// What all processes on this store share and nobody else may know.
    /// @param fresh what it becomes when there is none yet, or none of that length.
    virtual std::string Secret(const std::string &name, const std::string &fresh) = 0;

    /// The faults that every process on this store plays. It goes before the engine.
    virtual std::unique_ptr<FaultMenu> OpenFaultMenu() = 0;

    /// The program ends: what another one has not done by then is given up.
    virtual void EndWaitsBy(std::chrono::steady_clock::time_point /*end*/) {}
};

/// A PostgreSQL database, which several processes may share.
/// @param address a URI ("postgresql://...").
/// @param limit for each answer of the server.
std::unique_ptr<Engine> MakePostgresEngine(const std::string &address, std::chrono::seconds limit);

/// SQLite, and a file for each content, in a folder that one process has at a time.
std::unique_ptr<Engine> MakeSqliteEngine(const std::string &folder);

}  // namespace corvenna::cloud
