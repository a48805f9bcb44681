#include "tools/gateway/gateway.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <filesystem>
#include <stdexcept>

namespace corvenna::gateway {

namespace fs = std::filesystem;

namespace {

// The plug-in keeps 126 characters of a path; the names in the spool need the rest.
constexpr std::size_t kLongestFolder = 75;
constexpr int kLongestWaitFactor = 16;
constexpr int kFailuresBeforeNewFile = 4;
constexpr int kRecallStep = 100;
constexpr int kFailuresOfARecall = 3;
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

bool ContainsWord(const std::string &text, const std::string &word) {
    const auto equal = [](unsigned char a, unsigned char b) {
        return std::tolower(a) == std::tolower(b);
    };
    return std::search(text.begin(), text.end(), word.begin(), word.end(), equal) != text.end();
}

bool Contains(const std::vector<Range> &ranges, const Range &range) {
    return std::any_of(ranges.begin(), ranges.end(), [&range](const Range &one) {
        return one.start == range.start && one.end == range.end;
    });
}

const char *NameOf(Kind kind) {
    return kind == Kind::kRealData ? "sample" : "alarms";
}

Spool::Limits LimitsOf(const Gateway::Options &options, std::int32_t checkFailSeconds) {
    const Clock::duration wait = Scale(std::max<std::int32_t>(checkFailSeconds, 1), options.speed);
    return {options.spoolBytes, options.spoolAge, wait, wait * kLongestWaitFactor};
}

}  // namespace

Gateway::Gateway(Plugin &plugin, Source &source, const std::vector<Threshold> &thresholds,
                 Options options, Report &report)
    : plugin_(plugin),
      source_(source),
      options_(std::move(options)),
      report_(report),
      counters_(report.counters),
      thresholds_(thresholds) {
    if (!plugin_.Init(intervals_)) {
        throw std::runtime_error("the plug-in could not load its configuration; its log tells why");
    }
    LearnConfiguration();
    CheckPaths();
    fs::create_directories(options_.folder);
    history_ = std::make_unique<History>(options_.folder + "/history.db");
    spool_ = std::make_unique<Spool>(options_.folder + "/spool",
                                     LimitsOf(options_, intervals_.CheckFailInv));
    thresholds_.Resume(*history_);
    activeAlarms_ = thresholds_.Active();
    std::error_code ignored;
    fs::create_directories(kUpdateFolder, ignored);
}

Gateway::~Gateway() {
    Stop();
    intervalThreads_.clear();
    if (producer_.joinable()) {
        producer_.join();
    }
    // Under a download, the end of the process would pull the plug-in's objects away.
    while (plugin_.IsDownloading()) {
        std::this_thread::sleep_for(kShortPause);
    }
}

bool Gateway::IsSwitchedOff() const {
    const Interval_info &all = intervals_;
    const std::int32_t intervals[] = {all.RealDataInv, all.AlarmDataInv, all.HeartBeatInv,
                                      all.CheckFailInv, all.RecallInv};
    return std::all_of(std::begin(intervals), std::end(intervals),
                       [](std::int32_t interval) { return interval == -1; });
}

void Gateway::LearnConfiguration() {
    settings_ = plugin_.GetSettings();
    configured_ = plugin_.ConfiguredPoints();
    configured_.erase(kHiddenChannel);
    if (settings_.format != "json" && settings_.format != "xml" && !IsSwitchedOff()) {
        throw std::runtime_error("FileType \"" + settings_.format +
                                 "\" is neither json nor xml: nothing would ever be sent");
    }
}

void Gateway::CheckPaths() const {
    const std::string &folder = options_.folder;
    if (folder.size() > kLongestFolder) {
        throw std::runtime_error("the data folder's name is longer than 75 characters");
    }
    // Either word anywhere in a path makes the plug-in announce a deflated file.
    if (folder.find("jsonz") != std::string::npos || folder.find(".xmlz") != std::string::npos) {
        throw std::runtime_error("the data folder's name must not hold \"jsonz\" or \".xmlz\"");
    }
}

// --- Running ------------------------------------------------------------------------------------

void Gateway::Start() {
    if (IsSwitchedOff()) {
        return;
    }
    QueueUnproduced();
    producer_ = std::thread([this] { RunProducer(); });
    StartInterval(intervals_.RealDataInv, &Gateway::TakeSample, true);
    StartInterval(intervals_.AlarmDataInv, &Gateway::SendAlarms, false);
    StartInterval(intervals_.HeartBeatInv, &Gateway::BeatHeart, false);
    StartInterval(intervals_.CheckFailInv, &Gateway::CheckFailed, false);
    StartInterval(intervals_.RecallInv, &Gateway::CheckRecalls, false);
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
    const std::lock_guard lock(queueMutex_);
    queueStopped_ = true;
    queueCondition_.notify_all();
}

void Gateway::Try(void (Gateway::*task)()) {
    try {
        (this->*task)();
    } catch (const std::exception &error) {
        ++counters_.failures;
        report_.Complain("%s", error.what());
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
    return spool_->Count() == 0 && history_->Waiting(Kind::kRealData).empty() &&
           history_->Waiting(Kind::kAlarm).empty() && counters_.failures == 0;
}

StatusFacts Gateway::Status() const {
    StatusFacts facts{};
    facts.serial = settings_.serial;
    facts.server = settings_.address;
    facts.speed = options_.speed;
    facts.waitingFiles = spool_->Count();
    facts.waitingBytes = spool_->Bytes();
    facts.waitingSamples = static_cast<std::uint64_t>(history_->CountWaiting(Kind::kRealData));
    facts.activeAlarms = activeAlarms_;
    return facts;
}

// --- Real data ----------------------------------------------------------------------------------

void Gateway::TakeSample() {
    // Documents and file names carry seconds: every sample needs one of its own.
    while (!StoreSample(std::time(nullptr))) {
        if (!stop_.WaitUntil(Clock::now() + kShortPause)) {
            return;
        }
    }
    ++counters_.sampled;
}

bool Gateway::StoreSample(std::time_t now) {
    if (history_->HasSample(now)) {
        return false;
    }
    const Values read = source_.Read(now);
    const std::vector<Alarm> alarms = thresholds_.Evaluate(now, read);
    try {
        history_->AddSample(now, CompleteSample(read, configured_), alarms);
    } catch (const std::exception &) {
        thresholds_.Resume(*history_);  // what was not stored has not happened
        throw;
    }
    activeAlarms_ = thresholds_.Active();
    counters_.alarms += alarms.size();
    for (const Alarm &alarm : alarms) {
        report_.Say("alarm %s: %08x is %.3f, limit %.3f",
                    alarm.alarmFlag == kAlarmBegins ? "begins" : "ends", alarm.dataId,
                    alarm.alarmValue, alarm.thresholdValue);
    }
    Enqueue(now);
    return true;
}

void Gateway::Enqueue(std::time_t time) {
    const std::lock_guard lock(queueMutex_);
    queue_.insert(time);
    queueCondition_.notify_all();
}

void Gateway::QueueUnproduced() {
    for (const std::time_t time : history_->Waiting(Kind::kRealData)) {
        if (!spool_->Has(Kind::kRealData, time)) {
            Enqueue(time);
        }
    }
}

std::optional<std::time_t> Gateway::FirstQueued() {
    const std::lock_guard lock(queueMutex_);
    return queue_.empty() || queueStopped_ ? std::nullopt
                                           : std::optional<std::time_t>(*queue_.begin());
}

void Gateway::ProduceQueued() {
    while (const auto time = FirstQueued()) {
        try {
            ProduceMissing(Kind::kRealData, *time);
        } catch (const std::exception &error) {
            ++counters_.failures;
            report_.Complain("sample %s: %s", TimeOf(*time).c_str(), error.what());
        }
        {
            // Out of the queue only now, so that a check in between does not queue it again.
            const std::lock_guard lock(queueMutex_);
            queue_.erase(*time);
        }
        SendNow(Kind::kRealData, *time);
    }
}

void Gateway::RunProducer() {
    Try(&Gateway::Register);
    std::unique_lock lock(queueMutex_);
    while (!queueStopped_) {
        queueCondition_.wait(lock, [this] { return queueStopped_ || !queue_.empty(); });
        lock.unlock();
        Try(&Gateway::ProduceQueued);
        lock.lock();
    }
}

std::optional<std::string> Gateway::ProduceInto(const std::string &folder, Kind kind,
                                                std::time_t time) {
    if (kind == Kind::kAlarm) {
        std::vector<Alarm> alarms = history_->AlarmBatch(time);
        return plugin_.CreateAlarmDataFile(alarms, folder);
    }
    const auto sample = history_->Sample(time);
    if (!sample) {
        return std::nullopt;
    }
    // The configuration may have got points since: without a value for each there is no file.
    Values values = CompleteSample(*sample, configured_);
    return plugin_.CreateRealDataFile(values, folder, time);
}

void Gateway::ProduceMissing(Kind kind, std::time_t time) {
    const std::lock_guard lock(producing_[static_cast<int>(kind)]);
    if (!spool_->Has(kind, time)) {
        Produce(kind, time);
    }
}

void Gateway::ProduceAnew(Kind kind, std::time_t time) {
    const std::lock_guard lock(producing_[static_cast<int>(kind)]);
    Produce(kind, time);
}

void Gateway::Produce(Kind kind, std::time_t time) {
    // The history is told of an arrival before the file leaves the spool, so this is true of what
    // is still to be sent, and of nothing else.
    if (!history_->IsWaiting(kind, time)) {
        return;
    }
    const auto path = ProduceInto(spool_->WorkFolder(NameOf(kind)), kind, time);
    if (!path) {
        ++counters_.failures;
        report_.Complain("no file was produced of %s %s", NameOf(kind), TimeOf(time).c_str());
        return;
    }
    spool_->Put(kind, time, *path);
    if (kind == Kind::kRealData) {
        ++counters_.produced;
    }
    DropExcess();
}

void Gateway::DropExcess() {
    for (const Spool::File &file : spool_->DropExcess(std::time(nullptr))) {
        if (!history_->IsWaiting(file.kind, file.time)) {
            continue;  // a recall has brought it in already
        }
        history_->SetState(file.kind, file.time, State::kDropped);
        ++counters_.dropped;
        report_.Complain("the spool is over its limits: dropped %s %s, which had not arrived",
                         NameOf(file.kind), TimeOf(file.time).c_str());
    }
}

// --- Sending ------------------------------------------------------------------------------------

void Gateway::Register() {
    const bool accepted = plugin_.PrePost();
    counters_.registered = accepted;
    if (!accepted) {
        ++counters_.failures;
        if (!serverIsAway_.exchange(true)) {
            report_.Complain("the server did not take the registration");
        }
        return;
    }
    inDoubt_ = false;
    if (serverIsAway_.exchange(false)) {
        spool_->EndWaits();
    }
    report_.Say("registered at %s as %s", settings_.address.c_str(), settings_.serial.c_str());
}

bool Gateway::MaySendAtOnce() const {
    // While the server is away, the check of failed transfers alone asks for it.
    return !serverIsAway_ || intervals_.CheckFailInv <= 0;
}

void Gateway::SendNow(Kind kind, std::time_t time) {
    if (!MaySendAtOnce()) {
        return;
    }
    if (const auto file = spool_->Claim(kind, time)) {
        Send(*file);
    }
}

bool Gateway::IsSendable(const std::string &path) const {
    // Without the format's word in its path the plug-in sends nothing and reports success.
    return fs::exists(path) && ContainsWord(fs::path(path).filename(), "." + settings_.format);
}

bool Gateway::Upload(Kind kind, const std::string &path) {
    if (kind == Kind::kAlarm) {
        return plugin_.UploadAlarmDataFile(path);
    }
    const bool arrived = plugin_.UploadRealDataFile(path);
    WatchDownload();
    return arrived;
}

bool Gateway::Send(const Spool::File &file) {
    try {
        return SendClaimed(file);
    } catch (const std::exception &) {
        spool_->Release(file);
        throw;
    }
}

void Gateway::ReplaceUnsendable(const Spool::File &file) {
    const std::string when = TimeOf(file.time);
    if (!history_->IsWaiting(file.kind, file.time)) {
        report_.Complain("the file of %s %s cannot be sent and is not needed: removed",
                         NameOf(file.kind), when.c_str());
        spool_->Remove(file);
        return;
    }
    report_.Complain("the file of %s %s is missing or of another format: made anew",
                     NameOf(file.kind), when.c_str());
    spool_->Failed(file, Clock::now());
    ProduceAnew(file.kind, file.time);
}

bool Gateway::SendClaimed(const Spool::File &file) {
    if (!IsSendable(file.path)) {
        ReplaceUnsendable(file);
        return false;
    }
    const std::string when = TimeOf(file.time);
    if (!Upload(file.kind, file.path)) {
        ++counters_.failures;
        inDoubt_ = true;
        const int failures = spool_->Failed(file, Clock::now());
        report_.Complain("%s %s did not arrive (%d)", NameOf(file.kind), when.c_str(), failures);
        if (failures % kFailuresBeforeNewFile == 0) {
            ProduceAnew(file.kind, file.time);  // perhaps it is the file that is bad
        }
        return false;
    }
    inDoubt_ = false;
    history_->SetState(file.kind, file.time, State::kArrived);
    spool_->Remove(file);
    ++(file.kind == Kind::kRealData ? counters_.sent : counters_.alarmFiles);
    report_.Say("%s %s arrived", NameOf(file.kind), when.c_str());
    return true;
}

void Gateway::WatchDownload() {
    const bool running = plugin_.IsDownloading();
    if (running && !counters_.downloading.exchange(true)) {
        ++counters_.downloads;
        report_.Say("the server offers files: download %d", static_cast<int>(counters_.downloads));
    } else if (!running) {
        counters_.downloading = false;
    }
}

void Gateway::CheckFailed() {
    DropExcess();
    if (inDoubt_ || serverIsAway_) {
        Register();
    }
    QueueUnproduced();
    ProduceAlarms();
    while (!stop_.IsStopped()) {
        const auto file = spool_->ClaimDue(Clock::now());
        if (!file || (!Send(*file) && serverIsAway_)) {
            break;
        }
    }
    history_->Prune(std::time(nullptr) - static_cast<std::time_t>(options_.historyAge.count()));
}

// --- Alarms, heartbeat --------------------------------------------------------------------------

void Gateway::SendAlarms() {
    history_->MakeAlarmBatch(std::time(nullptr));
    ProduceAlarms();
}

void Gateway::ProduceAlarms() {
    for (const std::time_t batch : history_->Waiting(Kind::kAlarm)) {
        if (!spool_->Has(Kind::kAlarm, batch)) {
            ProduceMissing(Kind::kAlarm, batch);
            SendNow(Kind::kAlarm, batch);
        }
    }
}

void Gateway::BeatHeart() {
    plugin_.SyncHeartBeat();
    ++counters_.heartbeats;
}

// --- Recalls ------------------------------------------------------------------------------------

void Gateway::CheckRecalls() {
    std::vector<Range> ranges;
    if (!plugin_.CheckRecall(ranges)) {
        ++counters_.failures;
        report_.Complain("the server did not tell what it wants again");
        return;
    }
    ForgetAbandonedRanges(ranges);
    std::vector<Range> served;
    for (const Range &range : ranges) {
        if (!Contains(served, range)) {
            Serve(range);
            served.push_back(range);
        }
    }
}

void Gateway::ForgetAbandonedRanges(const std::vector<Range> &asked) {
    // A range that is asked for no more was acknowledged, although the answer may have been lost.
    // Should it be asked for again, it has to be served again.
    for (const Range &range : history_->RangesBegun()) {
        if (!Contains(asked, range)) {
            history_->ForgetServed(range);
        }
    }
}

void Gateway::Serve(const Range &range) {
    const auto begun = history_->Served(range);
    if (!begun) {
        report_.Say("the server wants %s to %s again", TimeOf(range.start).c_str(),
                    TimeOf(range.end).c_str());
        history_->SetServed(range, range.start);
    }
    if (!SendRange(range, begun.value_or(range.start))) {
        return;
    }
    if (!plugin_.DeleteRecall(range)) {
        ++counters_.failures;
        report_.Complain("the server did not take that %s to %s was served",
                         TimeOf(range.start).c_str(), TimeOf(range.end).c_str());
        return;
    }
    history_->ForgetServed(range);
    ++counters_.recallsServed;
    report_.Say("recall of %s to %s served and acknowledged", TimeOf(range.start).c_str(),
                TimeOf(range.end).c_str());
}

bool Gateway::SendRange(const Range &range, std::time_t next) {
    return SendRestOf(range, next) && SendMissedOf(range);
}

/// What was never tried. A sample that does not arrive is left for later and holds up nobody;
/// several in a row mean that the server takes none.
bool Gateway::SendRestOf(const Range &range, std::time_t next) {
    int failures = 0;
    for (auto times = history_->SamplesBetween(next, range.end, kRecallStep); !times.empty();
         times = history_->SamplesBetween(next, range.end, kRecallStep)) {
        for (const std::time_t time : times) {
            if (stop_.IsStopped() || failures == kFailuresOfARecall) {
                return false;
            }
            const bool arrived = SendAgain(time);
            failures = arrived ? 0 : failures + 1;
            if (!arrived) {
                history_->SetMissed(range, time);
            }
            next = time + 1;
            history_->SetServed(range, next);
        }
    }
    return true;
}

/// What did not arrive before. @return whether nothing of it is left.
bool Gateway::SendMissedOf(const Range &range) {
    bool all = true;
    for (const std::time_t time : history_->Missed(range)) {
        if (stop_.IsStopped()) {
            return false;
        }
        // What has been pruned since is no more to be had.
        if (!history_->HasSample(time) || SendAgain(time)) {
            history_->ForgetMissed(range, time);
        } else {
            all = false;
        }
    }
    return all;
}

bool Gateway::SendAgain(std::time_t time) {
    const auto path = ProduceInto(spool_->WorkFolder("recall"), Kind::kRealData, time);
    const bool arrived = path && Upload(Kind::kRealData, *path);
    if (path) {
        fs::remove(*path);
    }
    if (!arrived) {
        ++counters_.failures;
        inDoubt_ = true;
        report_.Complain("recalled sample %s did not arrive", TimeOf(time).c_str());
        return false;
    }
    history_->SetState(Kind::kRealData, time, State::kArrived);
    if (const auto file = spool_->Claim(Kind::kRealData, time)) {
        spool_->Remove(*file);
    }
    ++counters_.samplesRecalled;
    report_.Say("recalled sample %s sent again", TimeOf(time).c_str());
    return true;
}

}  // namespace corvenna::gateway
