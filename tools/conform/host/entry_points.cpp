// What a host calls. Configuration and data files are the plug-in's own; what would go to a server
// is played, the same for every host: the first registration fails, and so does the second upload
// of values; a file is offered with the third; what has been sent is recalled once.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "config/instances.h"
#include "config/sys_set.h"
#include "tools/conform/host/played_download.h"
#include "tools/conform/host/real.h"
#include "tools/conform/host/record.h"
#include "tools/conform/host/seen_values.h"

namespace corvenna::stand_in {
namespace {

// What an exchange takes: long enough that two at once are seen.
constexpr useconds_t kExchangeMicroseconds = 200000;

/// What the played server knows. Calls come from any thread.
struct Played {
    std::mutex mutex;
    int registrations = 0;
    int uploads = 0;
    std::set<std::string> files;  ///< names of the first two
    std::string unlucky;          ///< the second of them
    int failures = 0;             ///< how often that was tried
    std::set<std::time_t> produced;
    bool recalled = false;
    bool acknowledged = false;
    recall_time_para range{};
};

/// Never destroyed: a host's last thread may still be calling at its end.
Played &State() {
    static Played &state = *new Played;
    return state;
}

bool IsFolder(const char *path) {
    struct stat status {};
    return path != nullptr && stat(path, &status) == 0 && S_ISDIR(status.st_mode) &&
           access(path, W_OK) == 0;
}

bool IsFile(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string Text(const char *text) {
    return text == nullptr ? "" : text;
}

std::string Flag(bool flag) {
    return flag ? "1" : "";
}

/// Sooner than a gateway's minutes, for who waits for the result.
void Shorten(Interval_info &info) {
    const int seconds = std::atoi(Environment("CORVENNA_CONFORM_INTERVAL").c_str());
    std::int32_t fields[5];
    std::memcpy(fields, &info, sizeof fields);
    for (std::int32_t &field : fields) {
        field = field > 0 && seconds > 0 ? seconds : field;
    }
    std::memcpy(static_cast<void *>(&info), fields, sizeof fields);
}

std::string Describe(const Interval_info &info) {
    std::int32_t fields[5];
    std::memcpy(fields, &info, sizeof fields);
    std::string text;
    for (const std::int32_t field : fields) {
        text += (text.empty() ? "" : " ") + std::to_string(field);
    }
    return text;
}

std::string Describe(const recall_time_para &range) {
    return std::to_string(range.start) + " to " + std::to_string(range.end);
}

int PlayInit(Interval_info *info) {
    const std::string scenario = Environment("CORVENNA_CONFORM_SCENARIO");
    if (info == nullptr || scenario == "unusable") {
        return -1;
    }
    const int result = corvenna_real_Init(info);
    if (result == 0 && scenario == "off") {
        std::memset(static_cast<void *>(info), 0xFF, sizeof *info);
    }
    if (result == 0) {
        Shorten(*info);
    }
    return result;
}

/// How a folder is, in which a file is to be made.
void SayFolder(Call &call, const char *folder) {
    call.Point("folderPointer", folder)
        .Say("folder", Text(folder))
        .Say("folderThere", Flag(IsFolder(folder)));
}

/// Has the plug-in make a file, with a list of its own: what a host does wrong with its list is for
/// the record and must not end it.
template <class Produce>
std::int32_t MakeFile(Call &call, std::vector<std::string> &files, Produce produce) {
    std::vector<std::string> made;
    const std::int32_t result = produce(made);
    if (!made.empty()) {
        call.Say("made", made.back());
    }
    const std::lock_guard lock(State().mutex);
    files.insert(files.end(), made.begin(), made.end());
    return call.End(result);
}

/// The plug-in stops the process for a folder that is not there; here that would end the report.
bool CanMake(const void *data, const char *folder, const void *files) {
    return data != nullptr && files != nullptr && IsFolder(folder);
}

std::string NameOf(const char *folder, std::time_t time) {
    struct tm broken {};
    char name[64] = "";
    if (localtime_r(&time, &broken) != nullptr) {
        static_cast<void>(std::strftime(name, sizeof name, "/S%Y%m%d%H%M%S.", &broken));
    }
    const auto &cloud = *GetCSysSetInstance()->GetCloudConfigAttr();
    return Text(folder) + name + cloud.filetype + (cloud.isCompress != 0 ? "z" : "");
}

bool HasFormat(const char *path) {
    return path != nullptr &&
           strcasestr(path, GetCSysSetInstance()->GetCloudConfigAttr()->filetype) != nullptr;
}

void SayFile(Call &call, const char *path) {
    call.Point("pathPointer", path).Say("path", Text(path)).Say("there", Flag(IsFile(Text(path))));
}

/// @return what the played server says to values.
int PlayUpload(const std::string &path) {
    constexpr std::size_t kUnlucky = 2;
    constexpr int kFailures = 2;
    Played &state = State();
    const std::lock_guard lock(state.mutex);
    const std::string name = path.substr(path.rfind('/') + 1);
    if (state.files.size() < kUnlucky && state.files.insert(name).second &&
        state.files.size() == kUnlucky) {
        state.unlucky = name;
    }
    if (++state.uploads >= 3) {
        PlayDownload();
    }
    return name == state.unlucky && state.failures++ < kFailures ? -1 : 0;
}

/// Something is recalled when there is enough to be sent again. The lock is held.
std::optional<recall_time_para> PlayRecall() {
    Played &state = State();
    if (!state.recalled && state.produced.size() > 1 && state.uploads > 2) {
        state.recalled = true;
        const auto first = static_cast<std::int32_t>(*state.produced.begin());
        state.range = {first, first};
    }
    return state.recalled && !state.acknowledged ? std::optional(state.range) : std::nullopt;
}

bool PlayAcknowledgement(const recall_time_para &range) {
    Played &state = State();
    const std::lock_guard lock(state.mutex);
    const bool known =
        state.recalled && range.start == state.range.start && range.end == state.range.end;
    state.acknowledged = state.acknowledged || known;
    return known;
}

}  // namespace
}  // namespace corvenna::stand_in

using namespace corvenna::stand_in;

int Init(Interval_info *info) {
    Call call("Init");
    call.Point("info", info).Begin();
    const int result = PlayInit(info);
    if (result == 0) {
        call.Say("intervals", Describe(*info));
    }
    return call.End(result);
}

int PrePost(void) {
    Call call("PrePost");
    call.Begin();
    Played &state = State();
    const std::lock_guard lock(state.mutex);
    return call.End(++state.registrations == 1 ? -1 : 0);
}

int SyncHeartBeat(void) {
    Call call("SyncHeartBeat");
    call.Begin();
    return call.End(0);
}

std::int32_t CreateRealDataFile(Real_Data_Struct *values, char *dir,
                                std::vector<std::string> *files, std::time_t sampleTime) {
    Call call("CreateRealDataFile");
    call.Point("map", values).Point("list", files).Say("time", std::to_string(sampleTime));
    SayFolder(call, dir);
    if (!CanMake(values, dir, files)) {
        call.Begin();
        return call.End(-1);
    }
    const Missing missing = MissingOf(*values);
    call.Say("missingStatus", missing.statusPoints).Say("missing", missing.points);
    Real_Data_Struct own = *values;  // likewise
    call.Say("replaces", Flag(IsFile(NameOf(dir, sampleTime)))).Begin();
    const std::int32_t result = MakeFile(call, *files, [&](std::vector<std::string> &made) {
        return corvenna_real_CreateRealDataFile(&own, dir, &made, sampleTime);
    });
    call.Say("changed", Flag(FingerprintOf(*values) != FingerprintOf(own)));
    const std::lock_guard lock(State().mutex);
    State().produced.insert(sampleTime);
    return result;
}

std::int32_t CreateAlarmDataFile(Alarm_Data_Struct *alarms, char *dir,
                                 std::vector<std::string> *files) {
    Call call("CreateAlarmDataFile");
    call.Point("map", alarms).Point("list", files);
    SayFolder(call, dir);
    call.Begin();
    if (!CanMake(alarms, dir, files)) {
        return call.End(-1);
    }
    Alarm_Data_Struct own = *alarms;
    return MakeFile(call, *files, [&](std::vector<std::string> &made) {
        return corvenna_real_CreateAlarmDataFile(&own, dir, &made);
    });
}

int UploadRealDataFile(char *path) {
    Call call("UploadRealDataFile");
    SayFile(call, path);
    call.Say("format", Flag(HasFormat(path))).Begin();
    // A file of the other type counts as handled; one that is not there fails without a request.
    if (path != nullptr && !HasFormat(path)) {
        return call.End(0);
    }
    return call.End(IsFile(Text(path)) ? PlayUpload(path) : -1);
}

int UploadAlarmDataFile(const char *path) {
    Call call("UploadAlarmDataFile");
    SayFile(call, path);
    call.Begin();
    return call.End(IsFile(Text(path)) ? 0 : -1);
}

int CheckRecall(std::vector<recall_time_para> *out) {
    Call call("CheckRecall");
    call.Point("list", out).Begin();
    if (out == nullptr) {
        return call.End(-1);
    }
    usleep(kExchangeMicroseconds);
    const std::lock_guard lock(State().mutex);
    gPRecalltime = out;
    call.Say("full", Flag(!out->empty()));
    if (const auto range = PlayRecall()) {
        out->push_back(*range);
        call.Say("range", Describe(*range));
    }
    return call.End(0);
}

int DeleteRecall(recall_time_para *range) {
    Call call("DeleteRecall");
    call.Point("rangePointer", range);
    if (range == nullptr) {
        call.Begin();
        return call.End(-1);
    }
    call.Say("range", Describe(*range)).Begin();
    return call.End(PlayAcknowledgement(*range) ? 0 : -1);
}
