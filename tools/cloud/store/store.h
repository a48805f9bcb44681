#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "tools/cloud/metrics/metrics.h"
#include "tools/cloud/store/engine.h"
#include "tools/cloud/store/ledger.h"
#include "tools/cloud/store/trouble.h"
#include "tools/cloud/store/writer.h"

namespace corvenna::cloud {

struct FileContent {
    std::shared_ptr<const Content> content;  ///< null when it is gone
    std::int64_t size;
    std::string sn;  ///< of the gateway that it is offered to
};

/// Everything that must outlive the program. Changes go through one writer; reading has connections
/// of its own, so that neither holds the other. Any thread may call. Failures of the storage throw
/// an exception that TroubleOf knows.
class Store {
public:
    /// @param metrics counts transactions; lives longer.
    /// @param folder for what needs to be on this machine only for a while.
    Store(std::unique_ptr<Engine> engine, std::string folder, const Keeping &keeping,
          Metrics &metrics);
    ~Store();

    using Write = std::function<void(Ledger &)>;
    using Done = std::function<void(std::exception_ptr)>;
    /// Has the writer do something; `write` may run more than once. `done` is called on the
    /// writer's thread when it is on disk, or with why it is not; it must not throw.
    void Post(Subject about, Write write, Done done);

    /// Has the writer change something of a gateway and waits until it is on disk. @return what it
    /// returned.
    template <class Change>
    auto Do(const std::string &sn, const Change &change) {
        std::optional<decltype(change(std::declval<Ledger &>()))> result;
        std::exception_ptr failure;
        std::promise<void> finished;
        Post(
            {sn}, [&](Ledger &ledger) { result = change(ledger); },
            [&](std::exception_ptr thrown) {
                failure = std::move(thrown);  // nothing of it stays with the writer
                finished.set_value();
            });
        finished.get_future().wait();
        if (failure) {
            std::rethrow_exception(failure);
        }
        return std::move(*result);
    }

    /// A connection for reading, lent until it goes.
    class Reader {
    public:
        Reader(Store &store, std::unique_ptr<Connection> connection)
            : store_(store), connection_(std::move(connection)) {}
        ~Reader();
        Reader(const Reader &) = delete;
        Reader &operator=(const Reader &) = delete;
        Connection &Get() { return *connection_; }

    private:
        Store &store_;
        std::unique_ptr<Connection> connection_;
    };
    Reader Read();
    const Dialect &Spelling() const { return connection_->Spelling(); }

    std::optional<FileContent> FindFile(const std::string &token, const std::string &name);
    std::int64_t OfferFile(const std::string &sn, const NewFile &file);
    /// Takes the file back and deletes its content.
    bool WithdrawFile(const std::string &sn, std::int64_t id);
    bool ForgetGateway(const std::string &sn);

    /// The program ends: answers that have to wait for a server longer than that are given up.
    void EndWaitsBy(std::chrono::steady_clock::time_point end) { engine_->EndWaitsBy(end); }
    /// Does what still waits. Nothing may be posted from here on.
    void Finish() { writer_.reset(); }

    /// What all processes on this store share and nobody else may know.
    std::string Secret(const std::string &name, const std::string &fresh) {
        return engine_->Secret(name, fresh);
    }

    /// The faults that every process on this store plays. It goes before the store.
    std::unique_ptr<FaultMenu> OpenFaultMenu() { return engine_->OpenFaultMenu(); }

    const std::string &Folder() const { return folder_; }

private:
    void DropStrayContents();

    std::unique_ptr<Engine> engine_;
    std::string folder_;
    std::unique_ptr<Connection> connection_;  ///< the writer's
    Ledger ledger_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<Connection>> readers_;
    std::unique_ptr<StoreWriter> writer_;
};

}  // namespace corvenna::cloud
