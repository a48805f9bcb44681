#include "tools/gateway/sender.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <filesystem>

namespace corvenna::gateway {

namespace fs = std::filesystem;

namespace {

constexpr int kFailuresBeforeNewFile = 4;

bool ContainsWord(const std::string &text, const std::string &word) {
    const auto equal = [](unsigned char a, unsigned char b) {
        return std::tolower(a) == std::tolower(b);
    };
    return std::search(text.begin(), text.end(), word.begin(), word.end(), equal) != text.end();
}

}  // namespace

void Sender::Register() {
    const Exchange exchange = services_.plugin.PrePost();
    services_.report.counters.registered = exchange.succeeded;
    if (!exchange.succeeded) {
        WasNotTaken(exchange);
        return;
    }
    {
        const std::lock_guard lock(troubleMutex_);
        trouble_.clear();
    }
    inDoubt_ = false;
    if (serverIsAway_.exchange(false)) {
        services_.spool.EndWaits();
    }
    services_.report.Say("registered at %s as %s", services_.settings.address.c_str(),
                         services_.settings.serial.c_str());
}

/// Said once, and again when the cause is another.
void Sender::WasNotTaken(const Exchange &exchange) {
    ++services_.report.counters.failures;
    serverIsAway_ = true;
    std::string cause = Cause(exchange);
    if (exchange.note.find(kCutBody) != std::string::npos) {
        cause += "; " + std::to_string(services_.settings.devices) +
                 " devices are too many: the list of them is cut, and no server can read it (" +
                 exchange.note + "); shorter names and descriptions help";
    }
    const std::lock_guard lock(troubleMutex_);
    if (trouble_ == cause) {
        return;
    }
    trouble_ = cause;
    services_.report.Complain("the server did not take the registration: %s; %s", cause.c_str(),
                              NextTry(checkInterval_.value_or(Clock::duration())).c_str());
}

std::string Sender::NextTry(Clock::duration wait) const {
    return checkInterval_ ? "tried again in " + DurationText(std::max(wait, *checkInterval_))
                          : "tried again when the gateway starts anew";
}

void Sender::RegisterIfInDoubt() {
    if (inDoubt_ || serverIsAway_) {
        Register();
    }
}

bool Sender::MaySendAtOnce() const {
    // While the server is away, the check of failed transfers alone asks for it.
    return !serverIsAway_ || !checkInterval_;
}

void Sender::SendNow(Kind kind, std::time_t time) {
    if (!MaySendAtOnce()) {
        return;
    }
    if (const auto file = services_.spool.Claim(kind, time)) {
        Send(*file);
    }
}

void Sender::SendDue(const StopSignal &stop) {
    while (!stop.IsStopped()) {
        const auto file = services_.spool.ClaimDue(Clock::now());
        if (!file || (!Send(*file) && serverIsAway_)) {
            break;
        }
    }
}

bool Sender::IsSendable(const std::string &path) const {
    // Without the format's word in its path the plug-in sends nothing and reports success.
    return fs::exists(path) &&
           ContainsWord(fs::path(path).filename(), "." + services_.settings.format);
}

Exchange Sender::Upload(Kind kind, const std::string &path) {
    if (kind == Kind::kAlarm) {
        return services_.plugin.UploadAlarmDataFile(path);
    }
    Exchange exchange = services_.plugin.UploadRealDataFile(path);
    WatchDownload();
    return exchange;
}

bool Sender::Send(const Spool::File &file) {
    try {
        return SendClaimed(file);
    } catch (const std::exception &) {
        services_.spool.Release(file);
        throw;
    }
}

bool Sender::SendClaimed(const Spool::File &file) {
    if (!IsSendable(file.path)) {
        ReplaceUnsendable(file);
        return false;
    }
    const Exchange exchange = Upload(file.kind, file.path);
    exchange.succeeded ? Arrived(file) : DidNotArrive(file, exchange);
    return exchange.succeeded;
}

void Sender::ReplaceUnsendable(const Spool::File &file) {
    const std::string when = TimeOf(file.time);
    if (!services_.history.IsWaiting(file.kind, file.time)) {
        services_.report.Complain("the file of %s %s cannot be sent and is not needed: removed",
                                  NameOf(file.kind), when.c_str());
        services_.spool.Remove(file);
        return;
    }
    services_.report.Complain("the file of %s %s is missing or of another format: made anew",
                              NameOf(file.kind), when.c_str());
    services_.spool.Failed(file, Clock::now());
    producer_.ProduceAnew(file.kind, file.time);
}

void Sender::Arrived(const Spool::File &file) {
    inDoubt_ = false;
    services_.history.SetState(file.kind, file.time, State::kArrived);
    services_.spool.Remove(file);
    Counters &counters = services_.report.counters;
    ++(file.kind == Kind::kRealData ? counters.sent : counters.alarmFiles);
    services_.report.Say("%s %s arrived", NameOf(file.kind), TimeOf(file.time).c_str());
}

void Sender::DidNotArrive(const Spool::File &file, const Exchange &exchange) {
    ++services_.report.counters.failures;
    inDoubt_ = true;
    const Spool::Retry retry = services_.spool.Failed(file, Clock::now());
    const bool isRepeated = retry.failures > 0 && retry.failures % kFailuresBeforeNewFile == 0;
    const std::string cause = Cause(exchange);
    if (isRepeated && exchange.status == kTooLarge) {
        GiveUp(file, cause);
        return;
    }
    services_.report.Complain("%s %s did not arrive (%d): %s; %s", NameOf(file.kind),
                              TimeOf(file.time).c_str(), retry.failures, cause.c_str(),
                              NextTry(retry.wait).c_str());
    if (isRepeated) {
        producer_.ProduceAnew(file.kind, file.time);  // perhaps it is the file that is bad
    }
}

/// A file that the server finds too large today it finds too large tomorrow.
void Sender::GiveUp(const Spool::File &file, const std::string &cause) {
    services_.history.SetState(file.kind, file.time, State::kDropped);
    services_.spool.Remove(file);
    ++services_.report.counters.dropped;
    services_.report.Complain("%s %s of %llu bytes given up: %s; the history keeps it",
                              NameOf(file.kind), TimeOf(file.time).c_str(),
                              static_cast<unsigned long long>(file.bytes), cause.c_str());
}

void Sender::WatchDownload() {
    Counters &counters = services_.report.counters;
    const bool running = services_.plugin.IsDownloading();
    if (running && !counters.downloading.exchange(true)) {
        ++counters.downloads;
        services_.report.Say("the server offers files: download %d",
                             static_cast<int>(counters.downloads));
    } else if (!running) {
        counters.downloading = false;
    }
}

}  // namespace corvenna::gateway
