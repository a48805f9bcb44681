#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "tools/gateway/catalogue.h"

namespace corvenna::gateway {

/// Makes devices and points of the names of columns.
class RecordedPoints {
public:
    /// Takes the name of a column: "Device/Point [unit]", perhaps with the device's channel before
    /// it ("2:Device/Point [unit]"), or eight hexadecimal digits.
    /// @return the data id of its point. Throws std::runtime_error for a name that cannot be
    /// understood, is there twice, or has no room among the data ids.
    std::uint32_t Add(const std::string &column);

    const Catalogue &Devices() const { return devices_; }

private:
    /// What is taken of a device.
    struct Taken {
        std::size_t index;                                   // in devices_
        std::unordered_map<std::string, std::uint32_t> ids;  // of its points that columns name
        std::set<std::uint16_t> numbers;                     // of its analogue inputs
        std::uint16_t next = 0;                              // below it, no number is free
    };
    using Address = std::pair<std::uint8_t, std::uint8_t>;  // with the channel before it

    Taken &FindOrAdd(Address address, const std::string &name);
    Taken &FindOrAddByName(const std::string &text);
    Taken &FindKnown(const std::string &name, std::optional<std::uint8_t> channel);
    std::uint32_t AddById(std::uint32_t id);
    std::uint32_t AddByName(const std::string &device, const std::string &point,
                            const std::string &unit);

    Catalogue devices_;
    std::map<Address, Taken> taken_;
    std::unordered_map<std::string, Address> addressOfName_;
    std::unordered_set<std::uint32_t> ids_;
};

}  // namespace corvenna::gateway
