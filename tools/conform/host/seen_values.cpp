#include "tools/conform/host/seen_values.h"

#include <cstdio>
#include <cstring>

#include "config/channel_set.h"
#include "config/instances.h"
#include "config/sys_set.h"

namespace corvenna::stand_in {
namespace {

constexpr unsigned kOwnChannel = 192;  // points of the gateway itself: no device that could be down
constexpr unsigned kHiddenChannel = 193;  // never written
constexpr unsigned kStatusPoint = 0x0100;
constexpr double kUp = 0.1;

void Add(std::string &list, unsigned id) {
    char text[16];
    static_cast<void>(std::snprintf(text, sizeof text, "%08x", id));
    list += (list.empty() ? "" : " ") + std::string(text);
}

void LookAtDevice(unsigned status, const MAP_POINTID_ATTR &points, const Real_Data_Struct &values,
                  Missing &missing) {
    const auto found = values.find(status);
    if (status >> 24U != kOwnChannel && found == values.end()) {
        Add(missing.statusPoints, status);
        return;
    }
    if (status >> 24U != kOwnChannel && found->second < kUp) {
        return;  // of a device that is down nothing else is asked
    }
    for (const auto &[id, point] : points) {
        if (id != status && values.count(id) == 0) {
            Add(missing.points, id);
        }
    }
}

}  // namespace

Missing MissingOf(const Real_Data_Struct &values) {
    Missing missing;
    if (GetCSysSetInstance()->GetCloudConfigAttr()->TcpChannel != 0) {
        return missing;
    }
    MAP_CHANNEL_POINT *channels = nullptr;
    GetCChannelSetInstance()->GetAttr(&channels);
    for (const auto &[channel, devices] : *channels) {
        for (const auto &[device, points] : devices) {
            if (channel != kHiddenChannel) {
                const unsigned number = static_cast<unsigned>(channel) << 8U | device;
                LookAtDevice(number << 16U | kStatusPoint, points, values, missing);
            }
        }
    }
    return missing;
}

std::string FingerprintOf(const Real_Data_Struct &values) {
    std::uint64_t sum = 14695981039346656037U;  // FNV-1a
    const auto add = [&sum](const void *bytes, std::size_t count) {
        for (std::size_t index = 0; index < count; ++index) {
            sum = (sum ^ static_cast<const unsigned char *>(bytes)[index]) * 1099511628211U;
        }
    };
    for (const auto &[id, value] : values) {
        add(&id, sizeof id);
        add(&value, sizeof value);
    }
    return std::to_string(sum);
}

}  // namespace corvenna::stand_in
