#pragma once

#include <ctime>

#include "tools/gateway/catalogue.h"

namespace corvenna::gateway {

/// Where values come from. One thread at a time.
class Source {
public:
    virtual ~Source() = default;

    /// The devices and points that this source has, for as long as it lives.
    virtual const Catalogue &Devices() const = 0;

    /// The values of one moment. A point that cannot be read is left out.
    virtual Values Read(std::time_t now) = 0;
};

}  // namespace corvenna::gateway
