#include "tools/cloud/store/postgres/fault_watch.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

#include "tools/cloud/ground/say.h"

namespace corvenna::cloud {
namespace {

// How often a menu with faults is looked at, to find out that it is empty again, and how long the
// next try to reach the server waits.
constexpr int kBetweenLooks = 1000;
constexpr int kForEver = -1;

}  // namespace

FaultWatch::FaultWatch(std::shared_ptr<PostgresServer> server)
    : server_(std::move(server)), end_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!end_) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    Begin();
    thread_ = std::thread([this] { Run(); });
}

FaultWatch::~FaultWatch() {
    // One is added to nothing: that cannot fail.
    static_cast<void>(eventfd_write(end_.Get(), 1));
    thread_.join();
}

void FaultWatch::TellAll(PostgresConnection &connection) {
    connection.Execute("NOTIFY corvenna_faults");
    connection.Execute("SELECT pg_advisory_xact_lock(1131574902, 4)");  // and gives it back
}

void FaultWatch::Begin() {
    believesEmpty_ = false;
    connection_ = std::make_unique<PostgresConnection>(server_, PostgresConnection::Use::kWriting);
    connection_->Execute("LISTEN corvenna_faults");
    Look();
}

void FaultWatch::Look() {
    constexpr const char *kGiveBack = "SELECT pg_advisory_unlock_shared(1131574902, 4)";
    mayHaveFaults_ = true;
    if (believesEmpty_) {
        believesEmpty_ = false;
        connection_->Execute(kGiveBack);
    }
    // Not while somebody waits for it or has it: that one has set a fault.
    Rows lock = connection_->Execute("SELECT 1 WHERE pg_try_advisory_lock_shared(1131574902, 4)");
    if (!lock.Next()) {
        return;
    }
    // A statement of its own, which sees all that was committed before the lock was there.
    if (connection_->Execute("SELECT 1 FROM faults LIMIT 1").Next()) {
        connection_->Execute(kGiveBack);
        return;
    }
    believesEmpty_ = true;
    mayHaveFaults_ = false;
}

/// Looks until the end, or until the connection breaks, which is thrown.
void FaultWatch::Follow() {
    if (!connection_) {
        Begin();
    }
    while (!Ended(0)) {
        connection_->AwaitNotice(end_.Get(), believesEmpty_ ? kForEver : kBetweenLooks);
        if (!Ended(0)) {
            Look();
        }
    }
}

void FaultWatch::Run() {
    while (!Ended(0)) {
        try {
            Follow();
        } catch (const std::exception &error) {
            mayHaveFaults_ = false;
            connection_.reset();
            SayRarely(error.what());
            static_cast<void>(Ended(kBetweenLooks));
        }
    }
}

bool FaultWatch::Ended(int milliseconds) const {
    pollfd end{end_.Get(), POLLIN, 0};
    return poll(&end, 1, milliseconds) == 1;
}

}  // namespace corvenna::cloud
