#include "tools/cloud/ground/say.h"

#include <chrono>
#include <iostream>
#include <map>
#include <mutex>

#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {

void Say(const std::string &text) {
    // One write, so that the lines of several threads stay whole.
    std::cerr << UtcNow() + " corvenna-cloud: " + text + "\n";
}

void SayRarely(const std::string &text) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds kQuiet{10};
    constexpr std::size_t kMostTexts = 100;
    static std::mutex mutex;
    static std::map<std::string, Clock::time_point> said;
    {
        const std::lock_guard lock(mutex);
        const auto known = said.find(text);
        if (known != said.end() && Clock::now() - known->second < kQuiet) {
            return;
        }
        if (said.size() >= kMostTexts) {
            said.clear();
        }
        said[text] = Clock::now();
    }
    Say(text);
}

}  // namespace corvenna::cloud
