#pragma once

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <mutex>

#include "tests/support/files.h"
#include "tools/gateway/plugin.h"

namespace corvenna::test {

/// A plug-in whose server is in the test's hands. Produced files hold the time and the number of
/// values; what was uploaded is remembered. Safe to use from several threads.
class FakePlugin : public gateway::Plugin {
public:
    Interval_info intervals{60, 30, 60, 30, 60};
    bool configurationIsGood = true;
    Settings settings{"GW1", "http://127.0.0.1:1", "json", 0};
    MAP_CHANNEL_POINT points;
    MAP_DEV_ATTR devices;
    std::string extension = ".json";
    std::atomic<bool> serverIsThere{true};
    std::atomic<bool> takesFiles{true};
    std::atomic<bool> takesAcknowledgements{true};
    std::atomic<bool> produces{true};
    std::atomic<int> downloading{0};  ///< how often it is still found downloading
    std::function<bool(const std::string &content)> refuses = [](const auto &) { return false; };
    std::vector<recall_time_para> recalls;
    gateway::Exchange failure{false, "http://127.0.0.1:1/x", 0, "Couldn't connect to server", ""};

    struct Seen {
        std::vector<std::string> realData, alarms;  // contents, as they arrived
        std::vector<recall_time_para> served;
        int registrations = 0;
        int heartbeats = 0;
        int uploads = 0;  // tried
    };
    Seen Saw() {
        const std::lock_guard lock(mutex_);
        return seen_;
    }

    bool Init(Interval_info &info) override {
        info = intervals;
        return configurationIsGood;
    }
    Settings GetSettings() override { return settings; }
    MAP_CHANNEL_POINT ConfiguredPoints() override { return points; }
    MAP_DEV_ATTR ConfiguredDevices() override { return devices; }
    gateway::Exchange PrePost() override {
        const std::lock_guard lock(mutex_);
        seen_.registrations += serverIsThere ? 1 : 0;
        return Answer(serverIsThere);
    }
    void SyncHeartBeat() override {
        const std::lock_guard lock(mutex_);
        ++seen_.heartbeats;
    }
    gateway::Production CreateRealDataFile(gateway::Values &values, std::string folder,
                                           std::time_t time) override {
        return Create(folder + "/S1" + extension,
                      std::to_string(time) + " " + std::to_string(values.size()));
    }
    gateway::Production CreateAlarmDataFile(std::vector<Alarm_Data_Para> &alarms,
                                            std::string folder) override {
        return Create(folder + "/T1" + extension, std::to_string(alarms.size()) + " alarms");
    }
    gateway::Exchange UploadRealDataFile(std::string path) override {
        return Upload(path, seen_.realData);
    }
    gateway::Exchange UploadAlarmDataFile(const std::string &path) override {
        return Upload(path, seen_.alarms);
    }
    gateway::Exchange CheckRecall(std::vector<recall_time_para> &ranges) override {
        const std::lock_guard lock(mutex_);
        ranges = recalls;
        return Answer(serverIsThere);
    }
    gateway::Exchange DeleteRecall(recall_time_para range) override {
        const std::lock_guard lock(mutex_);
        if (takesAcknowledgements) {
            seen_.served.push_back(range);
            recalls.erase(recalls.begin());
        }
        return Answer(takesAcknowledgements);
    }
    bool IsDownloading() override { return downloading > 0 && downloading-- > 0; }

private:
    gateway::Exchange Answer(bool succeeded) {
        gateway::Exchange exchange = succeeded ? gateway::Exchange() : failure;
        exchange.succeeded = succeeded;
        return exchange;
    }
    gateway::Production Create(const std::string &path, const std::string &content) const {
        if (!produces) {
            return {"", "can't find id: 01010000"};
        }
        WriteFile(path, content);
        return {path, ""};
    }
    gateway::Exchange Upload(const std::string &path, std::vector<std::string> &arrived) {
        const std::lock_guard lock(mutex_);
        ++seen_.uploads;
        if (!serverIsThere || !takesFiles || !std::filesystem::exists(path) ||
            refuses(ReadFile(path))) {
            return Answer(false);
        }
        arrived.push_back(ReadFile(path));
        return Answer(true);
    }

    std::mutex mutex_;
    Seen seen_;
};

}  // namespace corvenna::test
