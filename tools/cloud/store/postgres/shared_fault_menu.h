#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "tools/cloud/faults/fault_menu.h"
#include "tools/cloud/store/postgres/fault_watch.h"

namespace corvenna::cloud {

/// The menu that all processes on one database play from.
class SharedFaultMenu : public FaultMenu {
public:
    explicit SharedFaultMenu(const std::shared_ptr<PostgresServer> &server);

    Fault Add(Fault fault) override;
    void AddAtStart(const Fault &fault) override;
    bool Remove(std::int64_t id) override;
    void Clear() override;
    std::vector<Fault> List() const override;
    bool NeedsSerial() const override { return watch_.MayHaveFaults(); }
    bool TakeMayWait() const override { return watch_.MayHaveFaults(); }
    std::optional<Fault> Take(std::string_view exchange, std::string_view sn) override;

private:
    PostgresConnection &Kept() const;
    std::unique_ptr<PostgresConnection> ForChange() const;
    void TellAll(PostgresConnection &connection, std::int64_t id);

    std::shared_ptr<PostgresServer> server_;
    mutable std::mutex mutex_;
    mutable std::unique_ptr<PostgresConnection> kept_;
    FaultWatch watch_;
};

}  // namespace corvenna::cloud
