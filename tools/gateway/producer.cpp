#include "tools/gateway/producer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "base/file_descriptor.h"

namespace corvenna::gateway {

namespace {

/// The plug-in ends the process when it cannot open a file of its own for writing.
void CheckWritable(const std::string &folder) {
    const std::string path = folder + "/probe";
    const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    const bool isWritten = file && write(file.Get(), "x", 1) == 1;
    const int error = errno;
    static_cast<void>(unlink(path.c_str()));
    if (!isWritten) {
        throw std::system_error(error, std::generic_category(), "cannot write into " + folder);
    }
}

std::string Why(const Production &made) {
    return made.note.empty() ? "the plug-in's log tells why" : made.note;
}

}  // namespace

void Producer::ProduceMissing(Kind kind, std::time_t time) {
    const std::lock_guard lock(producing_[static_cast<int>(kind)]);
    if (!services_.spool.Has(kind, time)) {
        Produce(kind, time);
    }
}

void Producer::ProduceAnew(Kind kind, std::time_t time) {
    const std::lock_guard lock(producing_[static_cast<int>(kind)]);
    Produce(kind, time);
}

void Producer::Produce(Kind kind, std::time_t time) {
    // The history is told of an arrival before the file leaves the spool, so this is true of what
    // is still to be sent, and of nothing else.
    if (!services_.history.IsWaiting(kind, time)) {
        return;
    }
    Counters &counters = services_.report.counters;
    const Production made = ProduceInto(services_.spool.WorkFolder(NameOf(kind)), kind, time);
    if (made.path.empty()) {
        ++counters.failures;
        services_.report.Complain("no file was produced of %s %s: %s", NameOf(kind),
                                  TimeOf(time).c_str(), Why(made).c_str());
        return;
    }
    services_.spool.Put(kind, time, made.path);
    if (kind == Kind::kRealData) {
        ++counters.produced;
    }
    DropExcess();
}

Production Producer::ProduceInto(const std::string &folder, Kind kind, std::time_t time) {
    CheckWritable(folder);
    if (kind == Kind::kAlarm) {
        std::vector<Alarm> alarms = services_.history.AlarmBatch(time);
        return services_.plugin.CreateAlarmDataFile(alarms, folder);
    }
    const auto sample = services_.history.Sample(time);
    if (!sample) {
        return {"", "the history has it no more"};
    }
    // The configuration may have got points since: without a value for each there is no file.
    Values values = CompleteSample(*sample, configured_);
    return services_.plugin.CreateRealDataFile(values, folder, time);
}

void Producer::DropExcess() {
    for (const Spool::File &file : services_.spool.DropExcess()) {
        Dropped(file, "over its limits");
    }
    for (const Kind kind : {Kind::kRealData, Kind::kAlarm}) {
        for (const std::time_t time : services_.history.Expired(kind, longestWait_)) {
            if (const auto file = services_.spool.Drop(kind, time)) {
                Dropped(*file, "holding files for too long");
            }
        }
    }
}

void Producer::Dropped(const Spool::File &file, const char *why) {
    if (!services_.history.IsWaiting(file.kind, file.time)) {
        return;  // a recall has brought it in already
    }
    services_.history.SetState(file.kind, file.time, State::kDropped);
    ++services_.report.counters.dropped;
    services_.report.Complain("the spool is %s: dropped %s %s, which had not arrived", why,
                              NameOf(file.kind), TimeOf(file.time).c_str());
}

}  // namespace corvenna::gateway
