#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "tools/cloud/faults/faults.h"

namespace corvenna::cloud {

/// The faults that are set, oldest first. Any thread may call. Where the menu is kept in a store,
/// failures throw what those of the store do.
class FaultMenu {
public:
    virtual ~FaultMenu() = default;

    /// When it returns, every process that plays from this menu knows of the fault.
    virtual Fault Add(Fault fault) = 0;
    /// The same for one that the command line names. Processes that share the menu have the same
    /// command line: while a fault like it is set, there is nothing to be added.
    virtual void AddAtStart(const Fault &fault) = 0;
    virtual bool Remove(std::int64_t id) = 0;
    virtual void Clear() = 0;
    virtual std::vector<Fault> List() const = 0;
    /// Whether there may be a fault that only one gateway meets.
    virtual bool NeedsSerial() const = 0;
    /// Whether Take may have to wait for somebody else. Takes no time itself.
    virtual bool TakeMayWait() const = 0;
    /// The first fault for an exchange of a gateway, which then has happened once more.
    /// @param sn empty when the gateway is not known.
    virtual std::optional<Fault> Take(std::string_view exchange, std::string_view sn) = 0;
};

/// The menu of a process that shares nothing with others. It ends with the process.
class OwnFaultMenu : public FaultMenu {
public:
    Fault Add(Fault fault) override;
    void AddAtStart(const Fault &fault) override { Add(fault); }
    bool Remove(std::int64_t id) override;
    void Clear() override;
    std::vector<Fault> List() const override;
    bool NeedsSerial() const override;
    bool TakeMayWait() const override { return false; }
    std::optional<Fault> Take(std::string_view exchange, std::string_view sn) override;

private:
    mutable std::mutex mutex_;
    std::vector<Fault> faults_;
    std::int64_t lastId_ = 0;
};

}  // namespace corvenna::cloud
