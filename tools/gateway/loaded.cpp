#include "tools/gateway/loaded.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "tools/gateway/matching.h"

namespace corvenna::gateway {

bool Loaded::IsSwitchedOff() const {
    const std::int32_t all[] = {intervals.RealDataInv, intervals.AlarmDataInv,
                                intervals.HeartBeatInv, intervals.CheckFailInv,
                                intervals.RecallInv};
    return std::all_of(std::begin(all), std::end(all),
                       [](std::int32_t interval) { return interval == -1; });
}

Loaded Load(Plugin &plugin) {
    Loaded loaded;
    if (!plugin.Init(loaded.intervals)) {
        throw std::runtime_error("the plug-in could not load its configuration");
    }
    loaded.settings = plugin.GetSettings();
    loaded.points = plugin.ConfiguredPoints();
    loaded.settings.pausedChannels = loaded.settings.forwardChannel == 0 ? loaded.points.size() : 0;
    loaded.points.erase(kHiddenChannel);
    loaded.catalogue = ToCatalogue(loaded.points, plugin.ConfiguredDevices());
    loaded.settings.devices = loaded.catalogue.size();
    const std::string &format = loaded.settings.format;
    if (format != "json" && format != "xml" && !loaded.IsSwitchedOff()) {
        throw std::runtime_error("FileType \"" + format +
                                 "\" is neither json nor xml: nothing would ever be sent");
    }
    return loaded;
}

}  // namespace corvenna::gateway
