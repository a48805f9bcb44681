#pragma once

#include <string>
#include <vector>

#include "tools/gateway/pace.h"
#include "tools/gateway/sender.h"

namespace corvenna::gateway {

/// Sends again what the server asks for. How far a range was served is in the history, so it goes
/// on where a failure or an end interrupted it. One thread at a time.
class Recalls {
public:
    Recalls(const Services &services, Producer &producer, Sender &sender, const StopSignal &stop,
            const Pace &pace)
        : services_(services), producer_(producer), sender_(sender), stop_(stop), pace_(pace) {}

    /// Asks the server what it wants again, and serves it.
    void Check();

private:
    class Progress;

    void DidNotTell(const std::string &cause);
    void ForgetAbandonedRanges(const std::vector<Range> &asked);
    void Serve(const Range &range);
    void TellBeginning(const Range &range, std::time_t next) const;
    void Acknowledge(const Range &range);
    bool SendRestOf(const Range &range, std::time_t next);
    bool SendMissedOf(const Range &range);
    bool SendAgain(std::time_t time);
    Exchange SendCopy(std::time_t time);
    void Arrived(std::time_t time);

    const Services services_;
    Producer &producer_;
    Sender &sender_;
    const StopSignal &stop_;
    const Pace pace_;
    std::string trouble_;  // with asking, as it was last told
};

}  // namespace corvenna::gateway
