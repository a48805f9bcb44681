#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>

#include "tools/gateway/periodic.h"
#include "tools/gateway/producer.h"

namespace corvenna::gateway {

/// Brings files of the spool to the server, and knows how the server is doing. Several threads may
/// send.
class Sender {
public:
    /// @param checkInterval at which what fails is tried again; nothing when it never is.
    Sender(const Services &services, Producer &producer,
           std::optional<Clock::duration> checkInterval)
        : services_(services), producer_(producer), checkInterval_(checkInterval) {}

    /// Announces gateway and devices. When the server is back, all files of the spool are due.
    void Register();
    /// The same, if there is a doubt whether the server still knows the gateway.
    void RegisterIfInDoubt();

    /// Sends a file that has just been made, unless the server is away.
    void SendNow(Kind kind, std::time_t time);
    /// Sends the files whose waiting time is over, oldest first; while the server is away, one.
    void SendDue(const StopSignal &stop);

    /// Sends a file that need not be in the spool.
    Exchange Upload(Kind kind, const std::string &path);
    /// Something of which the server should have learnt did not reach it.
    void Doubt() { inDoubt_ = true; }

private:
    bool MaySendAtOnce() const;
    bool IsSendable(const std::string &path) const;
    bool Send(const Spool::File &file);
    bool SendClaimed(const Spool::File &file);
    void ReplaceUnsendable(const Spool::File &file);
    void Arrived(const Spool::File &file);
    void DidNotArrive(const Spool::File &file, const Exchange &exchange);
    void GiveUp(const Spool::File &file, const std::string &cause);
    void WasNotTaken(const Exchange &exchange);
    std::string NextTry(Clock::duration wait) const;
    void WatchDownload();

    const Services services_;
    Producer &producer_;
    const std::optional<Clock::duration> checkInterval_;
    std::atomic<bool> inDoubt_{false};       // something failed since the last success
    std::atomic<bool> serverIsAway_{false};  // it did not even take the registration
    std::mutex troubleMutex_;
    std::string trouble_;  // with the registration, as it was last told
};

}  // namespace corvenna::gateway
