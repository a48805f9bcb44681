#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace corvenna::cloud {

/// One exchange that is over.
struct RequestFigures {
    std::string exchange;  ///< empty for what is none
    int status = 0;        ///< 0: no answer went out
    double seconds = 0;
    std::int64_t requestBytes = 0;
    std::int64_t answerBytes = 0;
};

/// How things stand in the store.
struct StoreFigures {
    /// Gateways by their last contact: within a minute, 5 minutes, an hour, a day, longer ago,
    /// none.
    static constexpr int kContacts = 6;
    std::int64_t gateways[kContacts] = {};
    std::int64_t recallsWaiting = 0, recallsFetched = 0;
    std::int64_t filesOffered = 0, filesBegun = 0;
    std::int64_t activeAlarms = 0;
};

/// Counts what this process does, for Prometheus. Any thread may call.
class Metrics {
public:
    Metrics();
    ~Metrics();
    Metrics(const Metrics &) = delete;
    Metrics &operator=(const Metrics &) = delete;

    void CountRequest(const RequestFigures &request);
    /// Samples of a document that has been committed: those that are new, and those that were
    /// known.
    void CountSamples(int fresh, int known);
    void CountAlarms(int fresh, int known);
    /// A transaction that has been committed, with the requests that shared it.
    void CountCommit(double seconds, std::size_t requests);
    /// A request whose transaction failed.
    void CountStoreFailure();

    /// All of it in Prometheus' text format.
    /// @param store null when the store cannot be asked.
    std::string Text(const StoreFigures *store);

private:
    struct Families;

    std::unique_ptr<Families> families_;
};

}  // namespace corvenna::cloud
