#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/gateway/source.h"

namespace corvenna::gateway {

/// The values of one moment, by the points of the configuration.
struct Reading {
    Values values;
    std::map<std::string, double> others;  ///< of points that are not configured, by their names
};

/// The devices and points that the plug-in has loaded.
Catalogue ToCatalogue(const MAP_CHANNEL_POINT &points, const MAP_DEV_ATTR &devices);

/// A source whose points are those of the loaded configuration. What bears the same name is the
/// same point, whatever its number; a column that is called by a data id is the point of that id.
/// So no value ever gets under another's name. One thread at a time.
class MatchedSource {
public:
    /// @param source borrowed.
    MatchedSource(Source &source, const Catalogue &configured);

    /// Points of the source that are not configured, and configured points without a source; one
    /// line each, empty when everything has its counterpart.
    const std::vector<std::string> &Unmatched() const { return unmatched_; }

    Reading Read(std::time_t now);

private:
    void AddOther(const Device &device, const Point &point);

    Source &source_;
    std::map<std::uint32_t, std::uint32_t> idOfSource_;  // the source's id → the configured one
    std::map<std::uint32_t, std::string> nameOfOther_;
    std::vector<std::string> unmatched_;
};

}  // namespace corvenna::gateway
