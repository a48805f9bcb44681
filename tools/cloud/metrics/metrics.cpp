#include "tools/cloud/metrics/metrics.h"

#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

#include <map>
#include <mutex>

namespace corvenna::cloud {
namespace {

using prometheus::Counter;
using prometheus::Family;
using prometheus::Gauge;
using prometheus::Histogram;
using prometheus::Registry;

const Histogram::BucketBoundaries kSeconds{0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                           0.1,    0.25,  0.5,    1,     2.5,  5,     10};
const Histogram::BucketBoundaries kTogether{1, 2, 5, 10, 20, 50, 100, 200, 500, 1000};

constexpr const char *kContacts[StoreFigures::kContacts] = {"1m", "5m",     "1h",
                                                            "1d", "longer", "never"};

Family<Counter> &Counters(Registry &registry, const char *name, const char *help) {
    return prometheus::BuildCounter().Name(name).Help(help).Register(registry);
}
Family<Gauge> &Gauges(Registry &registry, const char *name, const char *help) {
    return prometheus::BuildGauge().Name(name).Help(help).Register(registry);
}
Family<Histogram> &Histograms(Registry &registry, const char *name, const char *help) {
    return prometheus::BuildHistogram().Name(name).Help(help).Register(registry);
}

}  // namespace

struct Metrics::Families {
    /// Looked up once, so that a request costs no labels.
    struct OfExchange {
        Histogram *seconds;
        Counter *requestBytes, *answerBytes;
        std::map<int, Counter *> byStatus;
    };

    OfExchange &Of(const std::string &exchange);
    void SetStore(const StoreFigures &store);

    Registry registry;
    std::mutex mutex;  ///< of the lookups, and of one scrape at a time
    std::map<std::string, OfExchange> exchanges;

    Family<Counter> &requests =
        Counters(registry, "corvenna_requests_total", "Requests by exchange and status.");
    Family<Histogram> &seconds = Histograms(registry, "corvenna_request_seconds",
                                            "From a request's first byte to its answer's last.");
    Family<Counter> &requestBytes =
        Counters(registry, "corvenna_request_bytes_total", "Bytes of bodies as they were sent.");
    Family<Counter> &answerBytes =
        Counters(registry, "corvenna_answer_bytes_total", "Bytes of answers with their heads.");
    Family<Counter> &samples = Counters(registry, "corvenna_samples_total",
                                        "Samples of committed documents: stored, or known before.");
    Counter &freshSamples = samples.Add({{"result", "stored"}});
    Counter &knownSamples = samples.Add({{"result", "known"}});
    Family<Counter> &alarms = Counters(registry, "corvenna_alarms_total",
                                       "Alarms of committed documents: stored, or known before.");
    Counter &freshAlarms = alarms.Add({{"result", "stored"}});
    Counter &knownAlarms = alarms.Add({{"result", "known"}});
    Histogram &commits = Histograms(registry, "corvenna_store_commit_seconds",
                                    "Transactions from their begin until they are durable.")
                             .Add({}, kSeconds);
    Histogram &together =
        Histograms(registry, "corvenna_store_commit_requests", "Requests that share a transaction.")
            .Add({}, kTogether);
    Counter &failures =
        Counters(registry, "corvenna_store_failures_total", "Requests that could not be stored.")
            .Add({});
    Gauge &up =
        Gauges(registry, "corvenna_store_up", "Whether the store answered this question.").Add({});
    Family<Gauge> &gateways =
        Gauges(registry, "corvenna_gateways", "Gateways by the time since their last contact.");
    Family<Gauge> &recalls =
        Gauges(registry, "corvenna_recalls_waiting", "Recalls that are not served yet.");
    Family<Gauge> &files =
        Gauges(registry, "corvenna_files_waiting", "Offered files without a final status.");
    Family<Gauge> &activeAlarms = Gauges(registry, "corvenna_alarms_active", "Alarms that go on.");
    Gauge &version = Gauges(registry, "corvenna_build_info", "1, with the version as a label.")
                         .Add({{"version", CORVENNA_VERSION}});
};

Metrics::Families::OfExchange &Metrics::Families::Of(const std::string &exchange) {
    const auto found = exchanges.find(exchange);
    if (found != exchanges.end()) {
        return found->second;
    }
    const prometheus::Labels labels{{"exchange", exchange}};
    return exchanges
        .emplace(exchange, OfExchange{&seconds.Add(labels, kSeconds),
                                      &requestBytes.Add(labels),
                                      &answerBytes.Add(labels),
                                      {}})
        .first->second;
}

void Metrics::Families::SetStore(const StoreFigures &store) {
    for (int i = 0; i < StoreFigures::kContacts; ++i) {
        gateways.Add({{"last_contact", kContacts[i]}}).Set(static_cast<double>(store.gateways[i]));
    }
    recalls.Add({{"state", "waiting"}}).Set(static_cast<double>(store.recallsWaiting));
    recalls.Add({{"state", "fetched"}}).Set(static_cast<double>(store.recallsFetched));
    files.Add({{"state", "offered"}}).Set(static_cast<double>(store.filesOffered));
    files.Add({{"state", "begun"}}).Set(static_cast<double>(store.filesBegun));
    activeAlarms.Add({}).Set(static_cast<double>(store.activeAlarms));
}

Metrics::Metrics() : families_(std::make_unique<Families>()) {
    families_->version.Set(1);
}

Metrics::~Metrics() = default;

void Metrics::CountRequest(const RequestFigures &request) {
    const std::lock_guard lock(families_->mutex);
    auto &exchange = families_->Of(request.exchange.empty() ? "other" : request.exchange);
    Counter *&counter = exchange.byStatus[request.status];
    if (counter == nullptr) {
        counter = &families_->requests.Add(
            {{"exchange", request.exchange.empty() ? "other" : request.exchange},
             {"status", request.status == 0 ? "none" : std::to_string(request.status)}});
    }
    counter->Increment();
    exchange.seconds->Observe(request.seconds);
    exchange.requestBytes->Increment(static_cast<double>(request.requestBytes));
    exchange.answerBytes->Increment(static_cast<double>(request.answerBytes));
}

void Metrics::CountSamples(int fresh, int known) {
    families_->freshSamples.Increment(fresh);
    families_->knownSamples.Increment(known);
}

void Metrics::CountAlarms(int fresh, int known) {
    families_->freshAlarms.Increment(fresh);
    families_->knownAlarms.Increment(known);
}

void Metrics::CountCommit(double seconds, std::size_t requests) {
    families_->commits.Observe(seconds);
    families_->together.Observe(static_cast<double>(requests));
}

void Metrics::CountStoreFailure() {
    families_->failures.Increment();
}

std::string Metrics::Text(const StoreFigures *store) {
    const std::lock_guard lock(families_->mutex);
    families_->up.Set(store == nullptr ? 0 : 1);
    if (store != nullptr) {
        families_->SetStore(*store);
    }
    return prometheus::TextSerializer().Serialize(families_->registry.Collect());
}

}  // namespace corvenna::cloud
