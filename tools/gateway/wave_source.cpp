#include "tools/gateway/wave_source.h"

#include <cmath>

namespace corvenna::gateway {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kMiddle = 230.0;
constexpr double kSwing = 25.0;
constexpr std::time_t kShortestPeriodSeconds = 60;
constexpr std::time_t kSwitchPeriodSeconds = 120;
constexpr std::time_t kCounterRangeSeconds = 1000000;

Device WaveDevice(std::uint8_t channel, std::uint8_t address, std::uint16_t waves) {
    Device device{channel,
                  address,
                  "Wave" + std::to_string(channel) + "-" + std::to_string(address),
                  "Generated values",
                  "Generated",
                  {}};
    for (std::uint16_t wave = 0; wave < waves; ++wave) {
        device.points.push_back(
            {PointType::kAnalogueInput, wave, "Wave " + std::to_string(wave + 1), "V"});
    }
    device.points.push_back({PointType::kDigitalInput, 0, "Comm_Status", ""});
    device.points.push_back({PointType::kDigitalInput, 1, "Switch", ""});
    device.points.push_back({PointType::kCounter, 0, "Counter", "s"});
    return device;
}

/// Every point has a period and a phase of its own, both made from its number.
double Wave(std::uint32_t seed, std::time_t now) {
    const std::time_t period = kShortestPeriodSeconds * (1 + seed % 7);
    const double angle = 2 * kPi * static_cast<double>(now % period) / static_cast<double>(period);
    return kMiddle + kSwing * std::sin(angle + seed);
}

double ValueOf(const Device &device, const Point &point, std::time_t now) {
    switch (point.type) {
        case PointType::kAnalogueInput:
            return Wave(device.channel + device.address + std::uint32_t{point.number}, now);
        case PointType::kDigitalInput:
            return now % kSwitchPeriodSeconds < kSwitchPeriodSeconds / 2 ? 1 : 0;
        case PointType::kCounter:
            return static_cast<double>(now % kCounterRangeSeconds);
        case PointType::kDigitalOutput:
        case PointType::kAnalogueOutput:
            break;  // none is generated
    }
    return kNotRead;
}

}  // namespace

WaveSource::WaveSource(Size size) {
    for (unsigned channel = 1; channel <= size.channels; ++channel) {
        for (unsigned address = 1; address <= size.devices; ++address) {
            devices_.push_back(WaveDevice(static_cast<std::uint8_t>(channel),
                                          static_cast<std::uint8_t>(address), size.waves));
        }
    }
}

Values WaveSource::Read(std::time_t now) {
    Values values;
    for (const Device &device : devices_) {
        for (const Point &point : device.points) {
            const std::uint32_t id = DataId(device, point);
            const bool isStatus = id == StatusId(device.channel, device.address);
            values[id] = isStatus ? 1 : ValueOf(device, point, now);
        }
    }
    return values;
}

}  // namespace corvenna::gateway
