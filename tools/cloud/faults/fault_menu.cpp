#include "tools/cloud/faults/fault_menu.h"

#include <algorithm>

namespace corvenna::cloud {

Fault OwnFaultMenu::Add(Fault fault) {
    const std::lock_guard lock(mutex_);
    fault.id = ++lastId_;
    faults_.push_back(fault);
    return fault;
}

bool OwnFaultMenu::Remove(std::int64_t id) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(faults_.begin(), faults_.end(),
                                    [id](const Fault &fault) { return fault.id == id; });
    if (found == faults_.end()) {
        return false;
    }
    faults_.erase(found);
    return true;
}

void OwnFaultMenu::Clear() {
    const std::lock_guard lock(mutex_);
    faults_.clear();
}

std::vector<Fault> OwnFaultMenu::List() const {
    const std::lock_guard lock(mutex_);
    return faults_;
}

bool OwnFaultMenu::NeedsSerial() const {
    const std::lock_guard lock(mutex_);
    return std::any_of(faults_.begin(), faults_.end(),
                       [](const Fault &fault) { return !fault.sn.empty(); });
}

std::optional<Fault> OwnFaultMenu::Take(std::string_view exchange, std::string_view sn) {
    const std::lock_guard lock(mutex_);
    const auto fits = [exchange, sn](const Fault &fault) {
        return (fault.exchange == exchange ||
                (fault.exchange == "any" && exchange != "connection")) &&
               (fault.sn.empty() || fault.sn == sn);
    };
    const auto found = std::find_if(faults_.begin(), faults_.end(), fits);
    if (found == faults_.end()) {
        return std::nullopt;
    }
    ++found->happened;
    const Fault taken = *found;
    if (found->left > 0 && --found->left == 0) {
        faults_.erase(found);
    }
    return taken;
}

}  // namespace corvenna::cloud
