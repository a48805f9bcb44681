#pragma once

#include "tools/gateway/source.h"

namespace corvenna::gateway {

/// Generated values: sine waves of different periods and phases, a switch and a counter for each
/// device. The same moment always gives the same values.
class WaveSource : public Source {
public:
    struct Size {
        std::uint8_t channels;  ///< 1 to 191
        std::uint8_t devices;   ///< on each channel
        std::uint16_t waves;    ///< of each device
    };

    explicit WaveSource(Size size);

    const Catalogue &Devices() const override { return devices_; }
    Values Read(std::time_t now) override;

private:
    Catalogue devices_;
};

}  // namespace corvenna::gateway
