#include "tools/conform/judge_host.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

namespace corvenna::conform {
namespace {

constexpr std::size_t kLongestFolder = 104;  // with "/S20240305070809.jsonz" 126
constexpr std::int64_t kSecond = 1000000;
constexpr std::int64_t kDeletionTime = kSecond;
constexpr std::int64_t kPatience = 2;  // intervals in which something must have been done

/// The schedule that Init gave, in microseconds; negative for never.
struct Schedule {
    std::int64_t realData = -1;
    std::int64_t checkFail = -1;
    std::int64_t recall = -1;
    bool off = true;
};

Schedule ScheduleOf(const HostCall &init) {
    std::istringstream text(init.Fact("intervals"));
    std::int64_t all[5] = {-1, -1, -1, -1, -1};
    for (std::int64_t &interval : all) {
        text >> interval;
        interval *= kSecond;
    }
    const bool off =
        std::all_of(std::begin(all), std::end(all), [](std::int64_t one) { return one < 0; });
    return {all[0], all[3], all[4], off};
}

std::string LastName(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

bool IsUpload(const HostCall &call) {
    return call.name == "UploadRealDataFile" || call.name == "UploadAlarmDataFile";
}

bool IsProduction(const HostCall &call) {
    return call.name == "CreateRealDataFile" || call.name == "CreateAlarmDataFile";
}

bool Overlap(const HostCall &one, const HostCall &other) {
    return one.thread != other.thread && one.begin < other.end && other.begin < one.end;
}

std::string Seconds(std::int64_t time) {
    return std::to_string(time / kSecond) + "." + std::to_string(time * 10 / kSecond % 10) + " s";
}

/// One look at a record.
class Judge {
public:
    Judge(const HostRecord &record, bool filesAreHere, Judgements &found)
        : record_(record), filesAreHere_(filesAreHere), found_(found) {}

    void All() {
        const auto inits = record_.Of("Init");
        Start(inits);
        if (inits.empty() || !inits.front()->Succeeded()) {
            return;
        }
        schedule_ = ScheduleOf(*inits.front());
        if (schedule_.off) {
            OnlyInit("off-stop");
            return;
        }
        found_.Explain("off-stop", "the service is on here");
        Pointers();
        Lists();
        Registration();
        Production();
        Pace("real-made", "real-pace", FreshValues(), schedule_.realData);
        Uploads();
        Retries();
        Deletions();
        Pace("recall-asked", "recall-pace", record_.Of("CheckRecall"), schedule_.recall);
        Recalls();
        End();
    }

private:
    void Start(const std::vector<const HostCall *> &inits) {
        const std::int64_t ready = inits.empty() ? HostCall::kNever : inits.front()->end;
        for (const HostCall &call : record_.calls) {
            found_.Judge("init-first", call.name == "Init" || call.begin >= ready,
                         call.name + " was called before");
        }
        found_.Judge("init-once", inits.size() <= 1,
                     "it was called " + std::to_string(inits.size()) + " times");
        if (!inits.empty() && inits.front()->HasEnded() && inits.front()->result != 0) {
            OnlyInit("init-stop");
        } else {
            found_.Explain("init-stop", "Init did well here");
        }
    }

    void OnlyInit(const char *id) {
        for (const HostCall &call : record_.calls) {
            found_.Judge(id, call.name == "Init", call.name + " was called");
        }
    }

    void Pointers() {
        for (const HostCall &call : record_.calls) {
            for (const char *fact :
                 {"info", "map", "list", "folderPointer", "pathPointer", "rangePointer"}) {
                const auto said = call.facts.find(fact);
                found_.Judge("no-null", said == call.facts.end() || !said->second.empty(),
                             call.name + " got one");
            }
        }
    }

    void Lists() {
        for (auto one = record_.calls.begin(); one != record_.calls.end(); ++one) {
            const std::string list = one->Fact("list");
            for (auto other = one + 1; !list.empty() && other != record_.calls.end(); ++other) {
                found_.Judge("list-shared", other->Fact("list") != list || !Overlap(*one, *other),
                             one->name + " and " + other->name + " had the same one");
            }
        }
    }

    void Registration() {
        const auto posts = record_.Of("PrePost");
        const std::int64_t first = posts.empty() ? HostCall::kNever : posts.front()->end;
        found_.Judge("registered", !posts.empty(), "it was never called");
        for (const HostCall &call : record_.calls) {
            found_.Judge("registered", !IsUpload(call) || call.begin >= first,
                         call.name + " was called before it had ended");
        }
        if (posts.empty() || posts.front()->result == 0) {
            found_.Explain("registered-again", "no registration failed");
        } else if (posts.size() > 1 || HasTimeFor(posts.front()->end, schedule_.checkFail)) {
            found_.Judge("registered-again", posts.size() > 1, "it was not called again");
        }
    }

    /// Whether something could have been done since, at an interval of the schedule.
    bool HasTimeFor(std::int64_t since, std::int64_t interval) const {
        return interval > 0 && since + kPatience * interval <= record_.end;
    }

    void Production() {
        for (const HostCall &call : record_.calls) {
            if (!IsProduction(call)) {
                continue;
            }
            const std::string folder = call.Fact("folder");
            found_.Judge("folder-there", !call.Fact("folderThere").empty(),
                         folder + " is no folder that can be written");
            found_.Judge("folder-name", IsGoodName(folder), "it is " + folder);
        }
        for (const HostCall *call : record_.Of("CreateRealDataFile")) {
            Values(*call);
        }
    }

    static bool IsGoodName(const std::string &folder) {
        return folder.size() <= kLongestFolder && (folder.empty() || folder.back() != '/') &&
               folder.find("jsonz") == std::string::npos &&
               folder.find(".xmlz") == std::string::npos;
    }

    void Values(const HostCall &call) {
        const auto missing = [&](const char *id, const char *fact) {
            found_.Judge(id, call.Fact(fact).empty(), "there is none for " + call.Fact(fact));
        };
        missing("status-points", "missingStatus");
        missing("every-point", "missing");
        found_.Judge("file-kept", call.Fact("replaces").empty(),
                     "one of " + call.Fact("folder") + " was, for the moment " + call.Fact("time"));
        if (call.HasEnded()) {
            found_.Judge("values-steady", call.Fact("changed").empty(), "they did");
        }
    }

    /// The calls that are not about what was before.
    std::vector<const HostCall *> FreshValues() const {
        std::vector<const HostCall *> fresh;
        long long newest = 0;
        for (const HostCall *call : record_.Of("CreateRealDataFile")) {
            const long long time = std::atoll(call->Fact("time").c_str());
            if (time > newest) {
                newest = time;
                fresh.push_back(call);
            }
        }
        return fresh;
    }

    void Pace(const char *made, const char *pace, const std::vector<const HostCall *> &calls,
              std::int64_t interval) {
        if (interval <= 0) {
            found_.Explain(made, "its interval says never");
            found_.Judge(pace, calls.empty(), "its interval says never, and it was called");
            return;
        }
        if (calls.empty()) {
            if (HasTimeFor(record_.calls.front().end, interval)) {
                found_.Judge(made, false, "it was not called");
            }
            return;
        }
        found_.Judge(made, true, "");
        Frequency(pace, calls, interval);
    }

    void Frequency(const char *id, const std::vector<const HostCall *> &calls,
                   std::int64_t interval) {
        const std::int64_t time = calls.back()->begin - calls.front()->begin;
        // A late one and one in time may be close together.
        const auto most = static_cast<std::size_t>(time / interval + 2);
        found_.Judge(id, calls.size() <= most,
                     std::to_string(calls.size()) + " within " + Seconds(time) +
                         ", with an interval of " + Seconds(interval));
    }

    void Uploads() {
        for (const HostCall &call : record_.calls) {
            if (IsUpload(call) && !call.Fact("pathPointer").empty()) {
                found_.Judge("file-there", !call.Fact("there").empty(),
                             "there is no " + call.Fact("path"));
            }
            if (call.name == "UploadRealDataFile" && !call.Fact("pathPointer").empty()) {
                found_.Judge("file-format", !call.Fact("format").empty(),
                             "it is not in " + call.Fact("path"));
            }
        }
    }

    void Retries() {
        std::map<std::string, std::vector<const HostCall *>> attempts;
        for (const HostCall *call : record_.Of("UploadRealDataFile")) {
            std::vector<const HostCall *> &ofFile = attempts[LastName(call->Fact("path"))];
            const bool failed = call->result != 0 && !call->Fact("there").empty();
            if (failed || !ofFile.empty()) {
                ofFile.push_back(call);
            }
        }
        for (const auto &[name, ofFile] : attempts) {
            if (!ofFile.empty()) {
                Retry(name, ofFile);
            }
        }
    }

    /// @param attempts the one that failed first, and those behind it.
    void Retry(const std::string &name, const std::vector<const HostCall *> &attempts) {
        const bool again = attempts.size() > 1;
        if (again || HasTimeFor(attempts.front()->end, schedule_.checkFail)) {
            found_.Judge("retried", again, name + " was not");
        }
        if (again && schedule_.checkFail > 0) {
            Frequency("retry-pause", attempts, schedule_.checkFail);
        }
    }

    void Deletions() {
        if (!filesAreHere_) {
            found_.Explain("file-deleted", "the host's files are not here");
            return;
        }
        for (const HostCall &call : record_.calls) {
            const std::string path = call.Fact("path");
            std::error_code ignored;
            if (IsUpload(call) && call.Succeeded() && !call.Fact("there").empty() &&
                call.end + kDeletionTime <= record_.end) {
                found_.Judge("file-deleted", !std::filesystem::exists(path, ignored),
                             path + " is there still");
            }
        }
    }

    void Recalls() {
        const auto checks = record_.Of("CheckRecall");
        for (auto one = checks.begin(); one != checks.end(); ++one) {
            found_.Judge(
                "recall-alone",
                std::none_of(checks.begin(), one,
                             [&](const HostCall *other) { return Overlap(**one, *other); }),
                "a second one was made meanwhile");
            found_.Judge("recall-empty", (*one)->Fact("full").empty(), "it was not");
        }
        const auto listing = std::find_if(checks.begin(), checks.end(), [](const HostCall *call) {
            return !call->Fact("range").empty();
        });
        const auto done = record_.Of("DeleteRecall");
        const std::string range = listing == checks.end() ? "" : (*listing)->Fact("range");
        for (const HostCall *call : done) {
            found_.Judge("recall-known", !range.empty() && call->Fact("range") == range,
                         "it was called for " + call->Fact("range"));
        }
        if (listing != checks.end()) {
            Recalled(**listing, done);
        }
    }

    void Recalled(const HostCall &listing, const std::vector<const HostCall *> &done) {
        const auto first = std::find_if(done.begin(), done.end(), [&](const HostCall *call) {
            return call->Fact("range") == listing.Fact("range");
        });
        if (first == done.end()) {
            if (HasTimeFor(listing.end, schedule_.recall)) {
                found_.Judge("recall-done", false, "it was not");
            }
            return;
        }
        found_.Judge("recall-done", true, "");
        const auto uploads = record_.Of("UploadRealDataFile");
        const bool sent = std::any_of(uploads.begin(), uploads.end(), [&](const HostCall *call) {
            return call->begin >= listing.end && call->begin <= (*first)->begin;
        });
        found_.Judge("recall-sent", sent, "nothing was");
    }

    void End() {
        const auto exits = record_.Of("exit");
        if (exits.empty()) {
            found_.Explain("download-awaited", "no download was played, or the host was killed");
        } else {
            found_.Judge("download-awaited", exits.front()->Fact("downloading").empty(), "it did");
        }
    }

    const HostRecord &record_;
    bool filesAreHere_;
    Judgements &found_;
    Schedule schedule_;
};

}  // namespace

void JudgeHost(const HostRecord &record, bool filesAreHere, Judgements &found) {
    Judge(record, filesAreHere, found).All();
}

}  // namespace corvenna::conform
