#pragma once

#include <atomic>
#include <memory>
#include <thread>

#include "base/file_descriptor.h"
#include "tools/cloud/store/postgres/postgres_connection.h"

namespace corvenna::cloud {

/// Knows of the fault menu in a database whether it is empty, so that requests need not ask.
///
/// Who believes that it is empty holds a lock on the server, which any number of processes can have
/// at a time. Who sets a fault commits that, tells all processes, and then wants the same lock for
/// itself alone, for a moment: it gets it when none believes so any more, however slow one of them
/// is; the locks of one that ended are gone with it.
class FaultWatch {
public:
    /// Throws StoreFailure when there is no connection to be had.
    explicit FaultWatch(std::shared_ptr<PostgresServer> server);
    ~FaultWatch();
    FaultWatch(const FaultWatch &) = delete;
    FaultWatch &operator=(const FaultWatch &) = delete;

    /// Whether something may be in the menu. Nothing is where it is not known: the store is away
    /// then. Any thread may call.
    bool MayHaveFaults() const { return mayHaveFaults_; }

    /// To be called on another connection when a fault is committed; waits for all processes.
    static void TellAll(PostgresConnection &connection);

private:
    void Begin();
    void Look();
    void Follow();
    void Run();
    bool Ended(int milliseconds) const;

    std::shared_ptr<PostgresServer> server_;
    std::unique_ptr<PostgresConnection> connection_;
    bool believesEmpty_ = false;  ///< and holds the lock
    std::atomic<bool> mayHaveFaults_{false};
    FileDescriptor end_;  ///< can be read when the thread is to end
    std::thread thread_;
};

}  // namespace corvenna::cloud
