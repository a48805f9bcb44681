#include "tools/cloud/net/open_connections.h"

#include <vector>

namespace corvenna::cloud {

OpenConnections::Admission OpenConnections::Admit(const std::string &address) {
    auto place = std::make_shared<Place>(*this, address);
    Admission admission;
    const std::lock_guard lock(mutex_);
    places_.insert(place.get());
    ++perAddress_[address];
    ++counted_;
    place->counts_ = true;
    if (!HasRoom(address)) {
        admission.givesWay = MakeRoom(address);
    }
    if (!HasRoom(address)) {
        Uncount(*place);
        return admission;
    }
    admission.place = std::move(place);
    return admission;
}

bool OpenConnections::HasRoom(const std::string &address) const {
    return counted_ <= limits_.connections && HasRoomOfItsOwn(address);
}

bool OpenConnections::HasRoomOfItsOwn(const std::string &address) const {
    const auto here = perAddress_.find(address);
    return limits_.trustedProxies.count(address) != 0 || here == perAddress_.end() ||
           here->second <= limits_.connectionsPerAddress;
}

/// Takes its place from the connection that has waited longest; from one of the same address if
/// that has too many. @return the session to be ended; null when none waits, or when the one that
/// made room has no session any more, for it is being closed.
std::shared_ptr<Session> OpenConnections::MakeRoom(const std::string &address) {
    const bool fromAnyone = HasRoomOfItsOwn(address);
    for (Place *place : waiting_) {
        if (fromAnyone || place->address_ == address) {
            Uncount(*place);
            return place->session_.lock();
        }
    }
    return nullptr;
}

void OpenConnections::Uncount(Place &place) {
    SetWaiting(place, false);
    place.counts_ = false;
    --counted_;
    const auto here = perAddress_.find(place.address_);
    if (--here->second == 0) {
        perAddress_.erase(here);
    }
}

void OpenConnections::SetWaiting(Place &place, bool waits) {
    if (place.waits_) {
        waiting_.erase(place.queued_);
        place.waits_ = false;
    }
    if (waits && place.counts_) {
        place.queued_ = waiting_.insert(waiting_.end(), &place);
        place.waits_ = true;
    }
}

void OpenConnections::Queue(Place &place, bool waits) {
    const std::lock_guard lock(mutex_);
    SetWaiting(place, waits);
}

void OpenConnections::Leave(Place &place) {
    const std::lock_guard lock(mutex_);
    if (place.counts_) {
        Uncount(place);
    }
    places_.erase(&place);
    left_.notify_all();
}

void OpenConnections::SetSession(Place &place, const std::shared_ptr<Session> &session) {
    const std::lock_guard lock(mutex_);
    place.session_ = session;
    SetWaiting(place, true);
}

void OpenConnections::ForEach(const std::function<void(Session &session)> &call) const {
    std::vector<std::shared_ptr<Session>> sessions;
    {
        const std::lock_guard lock(mutex_);
        for (const Place *place : places_) {
            if (auto session = place->session_.lock()) {
                sessions.push_back(std::move(session));
            }
        }
    }
    // Not under the lock: a session that goes with this leaves its place.
    for (const auto &session : sessions) {
        call(*session);
    }
}

bool OpenConnections::WaitUntilNone(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return left_.wait_for(lock, time, [this] { return places_.empty(); });
}

}  // namespace corvenna::cloud
