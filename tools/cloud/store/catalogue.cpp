#include "tools/cloud/store/catalogue.h"

#include <sstream>
#include <stdexcept>

namespace corvenna::cloud {
namespace {

// About 20 MB; behind it everything is read again when it is needed.
constexpr std::size_t kMostKept = 100000;

std::optional<std::int64_t> OptionalNumber(const Rows &row, int column) {
    return row.IsNull(column) ? std::nullopt : std::make_optional(row.Number(column));
}

std::string LayoutKey(const std::vector<std::int64_t> &points) {
    std::string key;
    for (const std::int64_t point : points) {
        key += std::to_string(point);
        key += ' ';
    }
    return key;
}

}  // namespace

void Catalogue::Clear() {
    gateways_.clear();
    held_.clear();
    kept_ = 0;
}

void Catalogue::KeepBounded() {
    if (kept_ > kMostKept) {
        Clear();
    }
}

void Catalogue::Revise(KnownGateway &gateway) {
    if (const char *revise = statements_.Spelling().revise) {
        statements_.RunLater(revise, gateway.id);
        ++gateway.revision;
    }
}

KnownGateway &Catalogue::Load(const std::string &sn, const KnownGateway &found) {
    KnownGateway &gateway = gateways_[sn];
    gateway = found;
    Rows points = statements_.Select(
        "SELECT dblink, id, channel, device, name, unit FROM points WHERE gateway = ?", gateway.id);
    while (points.Next()) {
        gateway.points[points.Text(0)] = {points.Number(1), static_cast<int>(points.Number(2)),
                                          static_cast<int>(points.Number(3)), points.Text(4),
                                          points.Text(5)};
    }
    Rows layouts =
        statements_.Select("SELECT points, id, newest FROM layouts WHERE gateway = ?", gateway.id);
    while (layouts.Next()) {
        const std::string key = layouts.Text(0);
        kept_ += key.size() / 64;
        gateway.layouts[key] = {layouts.Number(1), OptionalNumber(layouts, 2)};
    }
    kept_ += 1 + gateway.points.size() + gateway.layouts.size();
    return gateway;
}

KnownGateway *Catalogue::Find(const std::string &sn) {
    const auto known = gateways_.find(sn);
    const bool isKnown = known != gateways_.end();
    const Dialect &spelling = statements_.Spelling();
    if (isKnown && (!spelling.shared || held_.count(sn) != 0)) {
        return &known->second;
    }
    Rows row = statements_.Select(spelling.findGateway, sn);
    if (!row.Next()) {
        gateways_.erase(sn);
        return nullptr;
    }
    KnownGateway found;
    found.id = row.Number(0);
    found.newest = OptionalNumber(row, 1);
    found.interval = OptionalNumber(row, 2);
    found.revision = row.Number(3);
    if (isKnown && known->second.id == found.id && known->second.revision == found.revision) {
        known->second.newest = found.newest;
        known->second.interval = found.interval;
        held_.insert(sn);
        return &known->second;
    }
    KeepBounded();
    held_.insert(sn);
    return &Load(sn, found);
}

KnownGateway &Catalogue::FindOrAdd(const std::string &sn) {
    if (KnownGateway *known = Find(sn)) {
        return *known;
    }
    const auto id = statements_.TryInsert(statements_.Spelling().addGateway, sn);
    if (!id) {
        // Another process was quicker.
        if (KnownGateway *known = Find(sn)) {
            return *known;
        }
        throw std::runtime_error("a gateway can be neither found nor added");
    }
    KnownGateway &gateway = gateways_[sn];
    gateway.id = *id;
    ++kept_;
    return gateway;
}

KnownPoint &Catalogue::Point(KnownGateway &gateway, const Sample &sample) {
    const auto [place, fresh] = gateway.points.try_emplace(sample.dblink);
    KnownPoint &point = place->second;
    if (!fresh && point.channel == sample.channel && point.device == sample.device &&
        point.name == sample.name && point.unit == sample.unit) {
        return point;
    }
    point.channel = sample.channel;
    point.device = sample.device;
    point.name = sample.name;
    point.unit = sample.unit;
    if (fresh) {
        ++kept_;
        point.id = statements_.Insert(
            "INSERT INTO points(gateway, dblink, channel, device, name, unit)"
            " VALUES(?, ?, ?, ?, ?, ?)",
            gateway.id, sample.dblink, sample.channel, sample.device, sample.name, sample.unit);
        statements_.RunLater("UPDATE gateways SET points = points + 1 WHERE id = ?", gateway.id);
    } else {
        statements_.RunLater(
            "UPDATE points SET channel = ?, device = ?, name = ?, unit = ? WHERE id = ?",
            sample.channel, sample.device, sample.name, sample.unit, point.id);
    }
    Revise(gateway);
    return point;
}

KnownLayout &Catalogue::Layout(KnownGateway &gateway, const std::vector<std::int64_t> &points) {
    const std::string key = LayoutKey(points);
    const auto found = gateway.layouts.find(key);
    return found != gateway.layouts.end() ? found->second : AddLayout(gateway, key, points);
}

KnownLayout &Catalogue::AddLayout(KnownGateway &gateway, const std::string &key,
                                  const std::vector<std::int64_t> &points) {
    kept_ += 1 + points.size() / 8;
    KnownLayout &layout = gateway.layouts[key];
    layout.id =
        statements_.Insert("INSERT INTO layouts(gateway, points) VALUES(?, ?)", gateway.id, key);
    std::int64_t position = 0;
    for (const std::int64_t point : points) {
        statements_.RunLater("INSERT INTO layout_points(layout, position, point) VALUES(?, ?, ?)",
                             layout.id, position++, point);
    }
    Revise(gateway);
    return layout;
}

std::vector<std::int64_t> Catalogue::PointsOf(std::int64_t layout) {
    Rows row = statements_.Select("SELECT points FROM layouts WHERE id = ?", layout);
    std::vector<std::int64_t> points;
    if (row.Next()) {
        std::istringstream key(row.Text(0));
        std::int64_t point = 0;
        while (key >> point) {
            points.push_back(point);
        }
    }
    return points;
}

}  // namespace corvenna::cloud
