#include <algorithm>
#include <set>
#include <tuple>

#include "tools/check/plant_rules.h"
#include "tools/check/vocabulary.h"

namespace corvenna::check {

namespace {

/// A device's table of a channel has each name once.
class PointNames {
public:
    void Check(const ForwardEntry &entry, Findings &findings) {
        if (!entry.name.empty() &&
            !met_.insert({entry.address, entry.id >> 16, entry.name}).second) {
            findings.push_back(
                {Severity::kWarning, "duplicate-point-name", entry.place,
                 "'" + entry.name + "' has the name of a point of its device before it",
                 "it takes that one's place", "give each point a name of its own"});
        }
    }

private:
    std::set<std::tuple<std::uint8_t, std::uint32_t, std::string>> met_;
};

void CheckEntry(const ForwardEntry &entry, const std::set<std::uint32_t> &known,
                Findings &findings) {
    if (entry.name.empty()) {
        findings.push_back({Severity::kWarning, "nameless-point", entry.place, "has no PointName",
                            "it is passed over", "write PointName"});
    } else if (entry.fits && known.count(entry.id) == 0) {
        findings.push_back(
            {Severity::kWarning, "unknown-data-id", entry.place,
             "'" + entry.name + "' has db_link " + Hexadecimal(entry.id) + ", which no device has",
             "it is sent as -1.000, or not at all when its device is down",
             "write the data id of a configured point (corvenna-check --points csv)"});
    }
}

}  // namespace

void CheckProtocols(const XmlFile &file, Findings &findings) {
    ForEachNamed(file.Root(), "Fwd_chan", [&](const xmlNode *channel) {
        const auto protocol = AttributeOf(channel, "lnk_p");
        if (protocol && *protocol != kForwardedProtocol && *protocol != "IEC104") {
            findings.push_back({Severity::kWarning, "unknown-protocol", file.At(channel, "lnk_p"),
                                "has lnk_p \"" + *protocol + "\"", "its tables are passed over",
                                "write MODBUS_TCP, exactly, for tables that are to be sent"});
        }
    });
}

void CheckForwarding(const Plant &plant, Findings &findings) {
    std::set<std::uint32_t> known;
    for (const auto &points : plant.points) {
        for (const PointEntry &point : points) {
            known.insert(point.id);
        }
    }
    PointNames names;
    for (const ForwardEntry &entry : plant.forwarding) {
        CheckEntry(entry, known, findings);
        names.Check(entry, findings);
    }
    if (!plant.settings || plant.settings->forwardChannel == 0) {
        return;
    }
    const auto wanted = plant.settings->forwardChannel;
    const bool exists = std::any_of(plant.forwarding.begin(), plant.forwarding.end(),
                                    [wanted](const ForwardEntry &entry) {
                                        return entry.address == wanted && !entry.name.empty();
                                    });
    if (!exists) {
        findings.push_back({Severity::kWarning, "unknown-forward-channel",
                            plant.settings->At("TcpChannel"),
                            "has TcpChannel " + std::to_string(wanted) +
                                ", and no forwarding channel of this address has a point",
                            "all configured points are sent, as with 0",
                            "write the addr of a MODBUS_TCP channel in forward_config.xml, or 0"});
    }
}

}  // namespace corvenna::check
