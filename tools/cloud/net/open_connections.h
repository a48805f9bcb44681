#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "tools/cloud/net/limits.h"

namespace corvenna::cloud {

class Session;

/// The connections that are open, by their number and by their peers' addresses. When there are as
/// many as there may be, the one that has waited longest for its peer gives way to a new one. Any
/// thread may call.
class OpenConnections {
public:
    /// One connection's place, held until it is let go.
    class Place {
    public:
        Place(OpenConnections &all, std::string address)
            : all_(all), address_(std::move(address)) {}
        ~Place() { all_.Leave(*this); }
        Place(const Place &) = delete;
        Place &operator=(const Place &) = delete;

        /// From now on nothing goes on before the peer does something.
        void AwaitPeer() { all_.Queue(*this, true); }
        /// Something goes on, so that it keeps its place.
        void Work() { all_.Queue(*this, false); }

    private:
        friend class OpenConnections;

        OpenConnections &all_;
        std::string address_;
        std::weak_ptr<Session> session_;
        bool counts_ = false;  ///< it was admitted and has not given way
        bool waits_ = false;   ///< it stands in the queue
        std::list<Place *>::iterator queued_;
    };

    struct Admission {
        std::shared_ptr<Place> place;       ///< null when there is none
        std::shared_ptr<Session> givesWay;  ///< to be ended for it, if there is one
    };

    explicit OpenConnections(const Limits &limits) : limits_(limits) {}

    Admission Admit(const std::string &address);
    /// Notes who has a place, and from now on waits there for its peer. Not what a connection does
    /// itself with its first step: of two that come one after the other, the second's may be first.
    void SetSession(Place &place, const std::shared_ptr<Session> &session);
    /// Calls for every session that there is.
    void ForEach(const std::function<void(Session &session)> &call) const;
    /// Waits until all places are free. @return false when the time was over before.
    bool WaitUntilNone(std::chrono::milliseconds time);

private:
    void Queue(Place &place, bool waits);
    void Leave(Place &place);
    // All below is done under the lock.
    bool HasRoom(const std::string &address) const;
    bool HasRoomOfItsOwn(const std::string &address) const;
    std::shared_ptr<Session> MakeRoom(const std::string &address);
    void Uncount(Place &place);
    void SetWaiting(Place &place, bool waits);

    const Limits &limits_;
    mutable std::mutex mutex_;
    std::condition_variable left_;
    std::map<std::string, std::size_t> perAddress_;
    std::size_t counted_ = 0;  ///< places that have not given way
    std::set<Place *> places_;
    std::list<Place *> waiting_;  ///< for their peers, the longest first
};

}  // namespace corvenna::cloud
