#include "tools/conform/host/record.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <sstream>

#include "base/file_descriptor.h"
#include "base/json.h"

namespace corvenna::stand_in {
namespace {

using Json = rapidjson::Writer<rapidjson::StringBuffer>;

/// Opened once; never closed, because a host's last thread may still be calling at its end.
int RecordFile() {
    static const int file = [] {
        const std::string path = Environment("CORVENNA_CONFORM_RECORD");
        return path.empty() ? -1
                            : open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    }();
    return file;
}

std::uint64_t NextNumber() {
    static std::atomic<std::uint64_t> number{0};
    return ++number;
}

}  // namespace

std::string Environment(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::int64_t Now() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

void Record(const std::string &line) {
    const std::string whole = line + "\n";
    if (RecordFile() >= 0 && write(RecordFile(), whole.data(), whole.size()) < 0) {
        std::perror("corvenna-conform: the record");
    }
}

Call::Call(const char *name) : name_(name), number_(NextNumber()) {}

Call &Call::Say(const char *fact, const std::string &value) {
    facts_.emplace_back(fact, value);
    return *this;
}

Call &Call::Point(const char *fact, const void *pointer) {
    std::ostringstream text;
    if (pointer != nullptr) {
        text << pointer;
    }
    return Say(fact, text.str());
}

std::string Call::Line(const char *when) {
    rapidjson::StringBuffer buffer;
    Json writer(buffer);
    writer.StartObject();
    writer.Key("call");
    writer.Uint64(number_);
    writer.Key("name");
    writer.String(name_);
    writer.Key("thread");
    writer.Int64(syscall(SYS_gettid));
    writer.Key(when);
    writer.Int64(Now());
    writer.Key("result");
    writer.Int(result_);
    for (const auto &[fact, value] : facts_) {
        writer.Key(fact.c_str());
        writer.String(value.c_str());
    }
    writer.EndObject();
    facts_.clear();
    return {buffer.GetString(), buffer.GetSize()};
}

void Call::Begin() {
    Record(Line("begin"));
}

int Call::End(int result) {
    result_ = result;
    return result;
}

Call::~Call() {
    Record(Line("end"));
}

}  // namespace corvenna::stand_in
