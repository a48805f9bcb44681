// Many light-weight gateways at once.
//
//     fleet_senders --recorded FOLDER --port P --senders N --seconds S    documents for so long
//     ... --documents D                     so many of each
//     ... --rhythm R                        one every R seconds, not as fast as they are answered
//     ... --work registration               what a gateway's start sends, once
//     ... --work offers                     a document, and the file that its answer tells of
//     ... --work recalls --documents D      what was recalled
//
// Prints what came of it as JSON. Times of requests include what was sent again.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "bench/fleet/sender.h"

namespace {

using corvenna::bench::Clock;
using corvenna::bench::Recorded;
using corvenna::bench::Sender;
using corvenna::bench::Settings;
using corvenna::bench::Tally;

double Percentile(const std::vector<double> &sorted, std::size_t percent) {
    return sorted.empty() ? 0 : sorted[(sorted.size() - 1) * percent / 100];
}

void Print(const Tally &all, double seconds, int points) {
    std::vector<double> times = all.milliseconds;
    std::sort(times.begin(), times.end());
    std::printf(R"({"requests":%zu,"seconds":%.3f,"again":%lld,"documents":%lld,"ended":%lld,)"
                R"("p50":%.2f,"p95":%.2f,"p99":%.2f,"max":%.2f,"points":%d})"
                "\n",
                times.size(), seconds, static_cast<long long>(all.again),
                static_cast<long long>(all.documents), static_cast<long long>(all.ended),
                Percentile(times, 50), Percentile(times, 95), Percentile(times, 99),
                Percentile(times, 100), points);
}

/// What went wrong with one of many threads.
class Trouble {
public:
    template <class Step>
    void Guard(Step step) {
        try {
            step();
        } catch (...) {
            const std::lock_guard lock(mutex_);
            first_ = first_ ? first_ : std::current_exception();
        }
    }
    void Rethrow() const {
        if (first_) {
            std::rethrow_exception(first_);
        }
    }

private:
    std::mutex mutex_;
    std::exception_ptr first_;
};

void RunAll(const Settings &settings, const Recorded &recorded) {
    std::vector<std::unique_ptr<Sender>> senders;
    for (int number = 1; number <= settings.senders; ++number) {
        senders.push_back(std::make_unique<Sender>(settings, recorded, number));
    }
    Trouble trouble;
    const auto began = Clock::now();
    std::vector<std::thread> threads;
    threads.reserve(senders.size());
    for (const auto &sender : senders) {
        threads.emplace_back([&trouble, &sender] { trouble.Guard([&] { sender->Run(); }); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    const std::chrono::duration<double> took = Clock::now() - began;
    trouble.Rethrow();
    Tally all;
    for (const auto &sender : senders) {
        all.Add(sender->Result());
    }
    Print(all, took.count(), recorded.Points());
}

int Run(int argc, char **argv) {
    Settings settings;
    std::string recorded;
    CLI::App app("light-weight gateways", "fleet_senders");
    app.add_option("--recorded", recorded)->required();
    app.add_option("--port", settings.port)->required();
    app.add_option("--senders", settings.senders)->check(CLI::Range(1, 10000));
    app.add_option("--work", settings.work)->check([](const std::string &work) {
        return Sender::Knows(work) ? "" : "it is no kind of work";
    });
    app.add_option("--seconds", settings.seconds);
    app.add_option("--documents", settings.documents);
    app.add_option("--rhythm", settings.rhythm);
    app.add_option("--first", settings.first);
    app.add_option("--step", settings.step);
    CLI11_PARSE(app, argc, argv);
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        throw std::runtime_error("libcurl does not start");
    }
    RunAll(settings, Recorded(recorded));
    curl_global_cleanup();
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return Run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "fleet_senders: %s\n", error.what());
        return 1;
    }
}
