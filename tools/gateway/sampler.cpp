#include "tools/gateway/sampler.h"

#include <chrono>
#include <exception>
#include <stdexcept>

namespace corvenna::gateway {

namespace {

constexpr auto kShortPause = std::chrono::milliseconds(50);

}  // namespace

Sampler::Sampler(MatchedSource &source, const std::vector<Threshold> &thresholds,
                 const MAP_CHANNEL_POINT &configured, History &history, Report &report)
    : source_(source),
      configured_(configured),
      history_(history),
      report_(report),
      thresholds_(thresholds) {
    thresholds_.Resume(history_);
    activeAlarms_ = thresholds_.Active();
}

std::optional<std::time_t> Sampler::TakeSample(const StopSignal &stop) {
    // Documents and file names carry seconds: every sample needs one of its own.
    std::time_t now = std::time(nullptr);
    while (history_.HasSample(now)) {
        if (!stop.WaitUntil(Clock::now() + kShortPause)) {
            return std::nullopt;
        }
        now = std::time(nullptr);
    }
    StoreSample(now);
    ++report_.counters.sampled;
    return now;
}

void Sampler::StoreSample(std::time_t now) {
    const Reading read = source_.Read(now);
    const std::vector<Alarm> alarms = thresholds_.Evaluate(now, read.values);
    try {
        history_.AddSample(now, CompleteSample(read.values, configured_), alarms, read.others);
    } catch (const std::exception &error) {
        thresholds_.Resume(history_);  // what was not stored has not happened
        throw std::runtime_error("sample " + TimeOf(now) + " is lost: " + history_.Explain(error));
    }
    activeAlarms_ = thresholds_.Active();
    report_.counters.alarms += alarms.size();
    for (const Alarm &alarm : alarms) {
        report_.Say("alarm %s: %08x is %.3f, limit %.3f",
                    alarm.alarmFlag == kAlarmBegins ? "begins" : "ends", alarm.dataId,
                    alarm.alarmValue, alarm.thresholdValue);
    }
}

}  // namespace corvenna::gateway
