#include "tools/gateway/pace.h"

#include "tools/gateway/report.h"

namespace corvenna::gateway {

namespace {

constexpr auto kDevicePause = std::chrono::milliseconds(100);
constexpr auto kChannelPause = std::chrono::milliseconds(500);
constexpr auto kWorthTelling = std::chrono::seconds(3);

}  // namespace

std::chrono::milliseconds Pace::OfASample() const {
    return kDevicePause * devices_ + kChannelPause * channels_;
}

std::string Pace::Complaint(Clock::duration interval) const {
    if (OfASample() <= interval) {
        return "";
    }
    return "production cannot keep up: " + std::to_string(devices_) + " devices x 0.1 s + " +
           std::to_string(channels_) + " channels x 0.5 s = " + DurationText(OfASample()) +
           " a sample, and one is taken every " + DurationText(interval) +
           "; more and more will wait";
}

std::string Pace::OfLoading(std::size_t devices) {
    const std::chrono::milliseconds pauses = kDevicePause * static_cast<std::int64_t>(devices);
    if (pauses < kWorthTelling) {
        return "";
    }
    return "the plug-in loads its configuration: " + std::to_string(devices) +
           " devices x 0.1 s = " + DurationText(pauses);
}

}  // namespace corvenna::gateway
