#pragma once

#include <string>

namespace corvenna::test {

/// The gateway's configuration files, as text; Write puts them at their places.
struct Configuration {
    std::string cloud;  ///< attributes of the "cloud" element
    std::string https;  ///< attributes of its "https" child; no child when empty

    void Write() const;
};

/// A gateway with one device of two points on channel 2, address 1 ("Ua", id 0x02010001, in V, and
/// the status point 0x02010100), serial text "GW4567".
Configuration GatewayOn(int port, const std::string &format = "json", bool compressed = false,
                        bool secure = false);

}  // namespace corvenna::test
