#include "tools/gateway/recalls.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace corvenna::gateway {

namespace fs = std::filesystem;

namespace {

constexpr int kStep = 100;
constexpr int kMostFailures = 3;
constexpr auto kLongestSilence = std::chrono::seconds(30);

bool Contains(const std::vector<Range> &ranges, const Range &range) {
    return std::any_of(ranges.begin(), ranges.end(), [&range](const Range &one) {
        return one.start == range.start && one.end == range.end;
    });
}

}  // namespace

void Recalls::Check() {
    std::vector<Range> ranges;
    const Exchange exchange = services_.plugin.CheckRecall(ranges);
    if (!exchange.succeeded) {
        DidNotTell(Cause(exchange));
        return;
    }
    trouble_.clear();
    ForgetAbandonedRanges(ranges);
    std::vector<Range> served;
    for (const Range &range : ranges) {
        if (!Contains(served, range)) {
            Serve(range);
            served.push_back(range);
        }
    }
}

/// Said once, and again when the cause is another.
void Recalls::DidNotTell(const std::string &cause) {
    ++services_.report.counters.failures;
    if (trouble_ == cause) {
        return;
    }
    trouble_ = cause;
    services_.report.Complain(
        "the server did not tell what it wants again: %s; asked again at every interval",
        cause.c_str());
}

void Recalls::ForgetAbandonedRanges(const std::vector<Range> &asked) {
    // A range that is asked for no more was acknowledged, although the answer may have been lost.
    // Should it be asked for again, it has to be served again.
    for (const Range &range : services_.history.RangesBegun()) {
        if (!Contains(asked, range)) {
            services_.history.ForgetServed(range);
        }
    }
}

void Recalls::Serve(const Range &range) {
    const auto begun = services_.history.Served(range);
    TellBeginning(range, begun.value_or(range.start));
    if (!begun) {
        services_.history.SetServed(range, range.start);
    }
    if (SendRestOf(range, begun.value_or(range.start)) && SendMissedOf(range)) {
        Acknowledge(range);
    }
}

/// Said when the range is new, and when a long one is gone on with.
void Recalls::TellBeginning(const Range &range, std::time_t next) const {
    const auto left = services_.history.CountBetween(next, range.end);
    const bool isNew = next == range.start;
    if (!isNew && left <= kStep) {
        return;
    }
    services_.report.Say("the server wants %s to %s again: %lld samples%s, about %s",
                         TimeOf(range.start).c_str(), TimeOf(range.end).c_str(),
                         static_cast<long long>(left), isNew ? "" : " left",
                         DurationText(pace_.OfASample() * left).c_str());
}

/// How far a range is, every hundred samples or half a minute.
class Recalls::Progress {
public:
    Progress(Report &report, std::int64_t total)
        : report_(report), total_(static_cast<std::uint64_t>(total)) {
        report_.counters.recallLeft = total_;
    }
    ~Progress() { report_.counters.recallLeft = 0; }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void Step() {
        ++done_;
        const std::uint64_t left = done_ < total_ ? total_ - done_ : 0;
        report_.counters.recallLeft = left;
        const auto now = Clock::now();
        if (left == 0 || (done_ % kStep != 0 && now < tellAt_)) {
            return;
        }
        tellAt_ = now + kLongestSilence;
        const Clock::duration rest = (now - begin_) / done_ * left;
        report_.Say("recall: %llu of %llu samples done, the rest takes about %s, until %s",
                    static_cast<unsigned long long>(done_), static_cast<unsigned long long>(total_),
                    DurationText(rest).c_str(), TimeOf(std::time(nullptr) + Seconds(rest)).c_str());
    }

private:
    static std::time_t Seconds(Clock::duration duration) {
        return static_cast<std::time_t>(
            std::chrono::duration_cast<std::chrono::seconds>(duration).count());
    }

    Report &report_;
    const std::uint64_t total_;
    std::uint64_t done_ = 0;
    const Clock::time_point begin_ = Clock::now();
    Clock::time_point tellAt_ = begin_ + kLongestSilence;
};

void Recalls::Acknowledge(const Range &range) {
    const Exchange exchange = services_.plugin.DeleteRecall(range);
    if (!exchange.succeeded) {
        ++services_.report.counters.failures;
        services_.report.Complain(
            "the server did not take that %s to %s was served: %s; told again at the next interval",
            TimeOf(range.start).c_str(), TimeOf(range.end).c_str(), Cause(exchange).c_str());
        return;
    }
    services_.history.ForgetServed(range);
    ++services_.report.counters.recallsServed;
    services_.report.Say("recall of %s to %s served and acknowledged", TimeOf(range.start).c_str(),
                         TimeOf(range.end).c_str());
}

/// What was never tried. A sample that does not arrive is left for later and holds up nobody;
/// several in a row mean that the server takes none.
bool Recalls::SendRestOf(const Range &range, std::time_t next) {
    History &history = services_.history;
    int failures = 0;
    Progress progress(services_.report, history.CountBetween(next, range.end));
    for (auto times = history.SamplesBetween(next, range.end, kStep); !times.empty();
         times = history.SamplesBetween(next, range.end, kStep)) {
        for (const std::time_t time : times) {
            if (stop_.IsStopped() || failures == kMostFailures) {
                return false;
            }
            const bool arrived = SendAgain(time);
            failures = arrived ? 0 : failures + 1;
            if (!arrived) {
                history.SetMissed(range, time);
            }
            next = time + 1;
            history.SetServed(range, next);
            progress.Step();
        }
    }
    return true;
}

/// What did not arrive before. @return whether nothing of it is left.
bool Recalls::SendMissedOf(const Range &range) {
    bool all = true;
    for (const std::time_t time : services_.history.Missed(range)) {
        if (stop_.IsStopped()) {
            return false;
        }
        // What has been pruned since is no more to be had.
        if (!services_.history.HasSample(time) || SendAgain(time)) {
            services_.history.ForgetMissed(range, time);
        } else {
            all = false;
        }
    }
    return all;
}

/// @return whether the sample is done with: it arrived, or the server will never take it.
bool Recalls::SendAgain(std::time_t time) {
    const Exchange exchange = SendCopy(time);
    if (exchange.succeeded) {
        Arrived(time);
        return true;
    }
    Report &report = services_.report;
    ++report.counters.failures;
    const std::string when = TimeOf(time);
    if (exchange.status == kTooLarge) {
        report.Complain("recalled sample %s given up: %s", when.c_str(), Cause(exchange).c_str());
        return true;
    }
    sender_.Doubt();
    report.Complain("recalled sample %s did not arrive: %s; tried again at the next interval",
                    when.c_str(), Cause(exchange).c_str());
    return false;
}

/// Sends a file that is made for this alone.
Exchange Recalls::SendCopy(std::time_t time) {
    const Production made =
        producer_.ProduceInto(services_.spool.WorkFolder("recall"), Kind::kRealData, time);
    Exchange exchange;
    exchange.note = "no file was produced: " + made.note;
    if (!made.path.empty()) {
        exchange = sender_.Upload(Kind::kRealData, made.path);
        fs::remove(made.path);
    }
    return exchange;
}

void Recalls::Arrived(std::time_t time) {
    services_.history.SetState(Kind::kRealData, time, State::kArrived);
    if (const auto file = services_.spool.Claim(Kind::kRealData, time)) {
        services_.spool.Remove(*file);
    }
    ++services_.report.counters.samplesRecalled;
    services_.report.Say("recalled sample %s sent again", TimeOf(time).c_str());
}

}  // namespace corvenna::gateway
