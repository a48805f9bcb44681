#include "tools/conform/host_record.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "base/json.h"

namespace corvenna::conform {
namespace {

using Json = rapidjson::Document;

bool IsLine(const Json &line) {
    return line.IsObject() && line.HasMember("call") && line["call"].IsUint64() &&
           line.HasMember("name") && line["name"].IsString() && line.HasMember("result") &&
           line["result"].IsInt() && line.HasMember("thread") && line["thread"].IsInt64();
}

void TakeFacts(const Json &line, HostCall &call) {
    for (const auto &member : line.GetObject()) {
        if (member.value.IsString()) {
            call.facts[member.name.GetString()] = member.value.GetString();
        }
    }
}

void TakeLine(const Json &line, std::map<std::uint64_t, HostCall> &calls) {
    HostCall &call = calls[line["call"].GetUint64()];
    call.name = line["name"].GetString();
    call.thread = line["thread"].GetInt64();
    TakeFacts(line, call);
    if (line.HasMember("begin") && line["begin"].IsInt64()) {
        call.begin = line["begin"].GetInt64();
    } else if (line.HasMember("end") && line["end"].IsInt64()) {
        call.end = line["end"].GetInt64();
        call.result = line["result"].GetInt();
    }
}

}  // namespace

std::string HostCall::Fact(const char *fact) const {
    const auto found = facts.find(fact);
    return found == facts.end() ? "" : found->second;
}

std::vector<const HostCall *> HostRecord::Of(const std::string &name) const {
    std::vector<const HostCall *> found;
    for (const HostCall &call : calls) {
        if (call.name == name) {
            found.push_back(&call);
        }
    }
    return found;
}

HostRecord ReadRecord(const std::string &path) {
    std::ifstream stream(path);
    std::map<std::uint64_t, HostCall> calls;
    for (std::string text; std::getline(stream, text);) {
        Json line;
        line.Parse(text.c_str());
        if (!line.HasParseError() && IsLine(line)) {
            TakeLine(line, calls);
        }
    }
    if (calls.empty()) {
        throw std::runtime_error("nothing was recorded in " + path +
                                 ": the host has not called the stand-in");
    }
    HostRecord record;
    for (const auto &[number, call] : calls) {
        record.calls.push_back(call);
        record.end = std::max({record.end, call.begin, call.HasEnded() ? call.end : 0});
    }
    std::stable_sort(
        record.calls.begin(), record.calls.end(),
        [](const HostCall &one, const HostCall &other) { return one.begin < other.begin; });
    return record;
}

}  // namespace corvenna::conform
