#include "tools/gateway/gateway.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <stdexcept>

namespace corvenna::gateway {

namespace fs = std::filesystem;

namespace {

// The plug-in keeps 126 characters of a path; the names in the spool need the rest.
constexpr std::size_t kLongestFolder = 75;
constexpr int kLongestWaitFactor = 16;
constexpr auto kShortPause = std::chrono::milliseconds(50);
constexpr auto kLeastInterval = std::chrono::milliseconds(100);

/// Where update packages are handed over. Without the folder, the first file moved "into" it would
/// take its name.
constexpr const char *kUpdateFolder = "/tmp/uploads";

Clock::duration Scale(std::int32_t seconds, double speed) {
    const auto interval = std::chrono::duration<double>(seconds / speed);
    return std::max<Clock::duration>(std::chrono::duration_cast<Clock::duration>(interval),
                                     kLeastInterval);
}

std::optional<Clock::duration> CheckInterval(std::int32_t seconds, double speed) {
    return seconds > 0 ? std::optional(Scale(seconds, speed)) : std::nullopt;
}

Spool::Limits LimitsOf(const Gateway::Options &options, std::int32_t checkFailSeconds) {
    const Clock::duration wait = Scale(std::max<std::int32_t>(checkFailSeconds, 1), options.speed);
    return {options.spoolBytes, wait, wait * kLongestWaitFactor, options.newestFirst};
}

/// Makes the folder, unless the plug-in could not work with paths in it.
const std::string &MakeFolder(const std::string &folder) {
    if (folder.size() > kLongestFolder) {
        throw std::runtime_error("the data folder's name is longer than 75 characters");
    }
    // Either word anywhere in a path makes the plug-in announce a deflated file.
    if (folder.find("jsonz") != std::string::npos || folder.find(".xmlz") != std::string::npos) {
        throw std::runtime_error("the data folder's name must not hold \"jsonz\" or \".xmlz\"");
    }
    fs::create_directories(folder);
    return folder;
}

}  // namespace

Gateway::Gateway(Plugin &plugin, Loaded loaded, MatchedSource &source,
                 const std::vector<Threshold> &thresholds, Options options, Report &report)
    : plugin_(plugin),
      options_(std::move(options)),
      report_(report),
      loaded_(std::move(loaded)),
      history_(MakeFolder(options_.folder) + "/history.db"),
      spool_(options_.folder + "/spool", LimitsOf(options_, loaded_.intervals.CheckFailInv)),
      pace_(loaded_.settings.devices, loaded_.settings.pausedChannels),
      queue_(options_.newestFirst),
      sampler_(source, thresholds, loaded_.points, history_, report_),
      producer_({plugin_, loaded_.settings, history_, spool_, report_}, loaded_.points,
                options_.spoolAge),
      sender_({plugin_, loaded_.settings, history_, spool_, report_}, producer_,
              CheckInterval(loaded_.intervals.CheckFailInv, options_.speed)),
      recalls_({plugin_, loaded_.settings, history_, spool_, report_}, producer_, sender_, stop_,
               pace_) {
    std::error_code ignored;
    fs::create_directories(kUpdateFolder, ignored);
}

Gateway::~Gateway() {
    Stop();
    intervalThreads_.clear();
    if (production_.joinable()) {
        production_.join();
    }
    // Under a download, the end of the process would pull the plug-in's objects away.
    while (plugin_.IsDownloading()) {
        std::this_thread::sleep_for(kShortPause);
    }
}

// --- Running ------------------------------------------------------------------------------------

void Gateway::Start() {
    QueueUnproduced();
    TellWhetherItKeepsUp();
    production_ = std::thread([this] { RunProduction(); });
    const Interval_info &intervals = loaded_.intervals;
    StartInterval(intervals.RealDataInv, &Gateway::TakeSample, true);
    StartInterval(intervals.AlarmDataInv, &Gateway::SendAlarms, false);
    StartInterval(intervals.HeartBeatInv, &Gateway::BeatHeart, false);
    StartInterval(intervals.CheckFailInv, &Gateway::CheckFailed, false);
    StartInterval(intervals.RecallInv, &Gateway::CheckRecalls, false);
}

void Gateway::StartInterval(std::int32_t seconds, void (Gateway::*task)(), bool atOnce) {
    if (seconds <= 0) {
        return;
    }
    const Clock::duration interval = Scale(seconds, options_.speed);
    const Clock::time_point first = Clock::now() + (atOnce ? Clock::duration() : interval);
    intervalThreads_.push_back(
        std::make_unique<Periodic>(stop_, first, interval, [this, task] { Try(task); }));
}

void Gateway::Stop() {
    stop_.Stop();
    queue_.Stop();
}

void Gateway::Try(void (Gateway::*task)()) {
    try {
        (this->*task)();
    } catch (const std::exception &error) {
        ++report_.counters.failures;
        report_.Complain("%s", history_.Explain(error).c_str());
    }
}

bool Gateway::RunOnce() {
    QueueUnproduced();
    Try(&Gateway::Register);
    Try(&Gateway::TakeSample);
    Try(&Gateway::ProduceQueued);
    Try(&Gateway::SendAlarms);
    Try(&Gateway::BeatHeart);
    Try(&Gateway::CheckFailed);
    Try(&Gateway::CheckRecalls);
    return spool_.Count() == 0 && history_.Waiting(Kind::kRealData).empty() &&
           history_.Waiting(Kind::kAlarm).empty() && report_.counters.failures == 0;
}

StatusFacts Gateway::Status() const {
    StatusFacts facts{};
    facts.serial = loaded_.settings.serial;
    facts.server = loaded_.settings.address;
    facts.speed = options_.speed;
    facts.waitingFiles = spool_.Count();
    facts.waitingBytes = spool_.Bytes();
    facts.waitingSamples = static_cast<std::uint64_t>(history_.CountWaiting(Kind::kRealData));
    facts.activeAlarms = sampler_.ActiveAlarms();
    return facts;
}

void Gateway::Register() {
    sender_.Register();
}

// --- Real data ----------------------------------------------------------------------------------

void Gateway::TakeSample() {
    if (const auto time = sampler_.TakeSample(stop_)) {
        queue_.Add(*time);
    }
}

void Gateway::QueueUnproduced() {
    for (const std::time_t time : history_.Waiting(Kind::kRealData)) {
        if (!spool_.Has(Kind::kRealData, time)) {
            queue_.Add(time);
        }
    }
}

void Gateway::ProduceQueued() {
    while (const auto time = queue_.First()) {
        try {
            producer_.ProduceMissing(Kind::kRealData, *time);
        } catch (const std::exception &error) {
            ++report_.counters.failures;
            report_.Complain("sample %s: %s", TimeOf(*time).c_str(),
                             history_.Explain(error).c_str());
        }
        // Out of the queue only now, so that a check in between does not queue it again.
        queue_.Remove(*time);
        sender_.SendNow(Kind::kRealData, *time);
    }
}

void Gateway::TellWhetherItKeepsUp() {
    if (loaded_.intervals.RealDataInv > 0) {
        const std::string complaint =
            pace_.Complaint(Scale(loaded_.intervals.RealDataInv, options_.speed));
        if (!complaint.empty()) {
            report_.Complain("%s", complaint.c_str());
        }
    }
    if (const auto waiting = static_cast<std::int64_t>(queue_.Size()); waiting > 0) {
        report_.Say("%lld samples of before wait to be produced, %s first: about %s",
                    static_cast<long long>(waiting), options_.newestFirst ? "newest" : "oldest",
                    DurationText(pace_.OfASample() * waiting).c_str());
    }
}

/// Said when twice as many wait as were told last.
void Gateway::TellBacklog() {
    const std::size_t waiting = queue_.Size();
    if (waiting < kBacklogToTell) {
        toldBacklog_ = kBacklogToTell;
    } else if (waiting >= 2 * toldBacklog_) {
        toldBacklog_ = waiting;
        report_.Complain("%zu samples wait to be produced, which takes about %s each", waiting,
                         DurationText(pace_.OfASample()).c_str());
    }
}

void Gateway::RunProduction() {
    Try(&Gateway::Register);
    while (queue_.Wait()) {
        Try(&Gateway::ProduceQueued);
    }
}

// --- The other intervals ------------------------------------------------------------------------

void Gateway::SendAlarms() {
    history_.MakeAlarmBatch(std::time(nullptr));
    ProduceAlarms();
}

void Gateway::ProduceAlarms() {
    for (const std::time_t batch : history_.Waiting(Kind::kAlarm)) {
        if (!spool_.Has(Kind::kAlarm, batch)) {
            producer_.ProduceMissing(Kind::kAlarm, batch);
            sender_.SendNow(Kind::kAlarm, batch);
        }
    }
}

void Gateway::BeatHeart() {
    plugin_.SyncHeartBeat();
    ++report_.counters.heartbeats;
}

void Gateway::CheckFailed() {
    producer_.DropExcess();
    sender_.RegisterIfInDoubt();
    QueueUnproduced();
    TellBacklog();
    ProduceAlarms();
    sender_.SendDue(stop_);
    history_.Prune(options_.historyAge);
}

void Gateway::CheckRecalls() {
    recalls_.Check();
}

}  // namespace corvenna::gateway
