#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "bench/fleet/recorded.h"

namespace corvenna::bench {

using Clock = std::chrono::steady_clock;

struct Settings {
    int port = 0;
    int senders = 1;
    std::string work = "documents";
    double seconds = 0;  // 0: as long as it takes
    int documents = std::numeric_limits<int>::max();
    double rhythm = 0;      // seconds between documents; 0: each as soon as the last was answered
    std::time_t first = 0;  // the second, from a fixed begin, of the first document
    std::time_t step = 1;   // from document to document
};

/// What came of the requests.
struct Tally {
    std::vector<double> milliseconds;  // what was sent again is part of a request's time
    std::int64_t again = 0;
    std::int64_t documents = 0;  // that arrived
    std::int64_t ended = 0;      // offers, recalls, registrations

    void Add(const Tally &other);
};

template <auto Free>
struct FreedBy {
    template <class T>
    void operator()(T *handle) const {
        Free(handle);
    }
};

/// A light-weight gateway: it sends one request after the other, every one on a connection of its
/// own, as the plug-in does, and again until it is told that it arrived. For one thread.
class Sender {
public:
    /// @param settings,recorded borrowed.
    Sender(const Settings &settings, const Recorded &recorded, int number);

    /// What `settings.work` says. Throws std::runtime_error at an answer that no gateway may get.
    void Run();
    const Tally &Result() const { return tally_; }

    static bool Knows(const std::string &work);

private:
    using Handle = std::unique_ptr<CURL, FreedBy<curl_easy_cleanup>>;
    using Headers = std::unique_ptr<curl_slist, FreedBy<curl_slist_free_all>>;
    struct Request {
        const char *method;
        std::string path;
        std::string body;
        bool isDocument = false;
    };
    struct Work {
        const char *name;
        void (Sender::*run)();
    };
    static const Work kWorks[];

    template <class T>
    void Set(CURLoption option, T value);
    Headers HeadersOf(const Request &request) const;

    void Register();
    void SendDocuments();
    void TakeOffer();
    void ServeRecall();

    bool WaitForTurn(int number, Clock::time_point begin);
    long SendDocument(int number);
    long Tell(const Request &request);
    long Attempt(const Request &request);

    const Settings &settings_;
    const Recorded &recorded_;
    int number_;
    std::string serial_, address_, answer_;
    Handle handle_;
    Tally tally_;
};

}  // namespace corvenna::bench
