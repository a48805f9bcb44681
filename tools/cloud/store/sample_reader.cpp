#include "tools/cloud/store/sample_reader.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace corvenna::cloud {

void SplitValues(std::string_view text, std::vector<std::string_view> &values) {
    values.clear();
    while (!text.empty()) {
        const std::size_t length = std::min(text.find(' '), text.size());
        values.push_back(text.substr(0, length));
        text.remove_prefix(std::min(length + 1, text.size()));
    }
}

std::optional<double> FiniteNumber(std::string_view value) {
    double number = 0;
    if (!value.empty() && value.front() == '+') {
        value.remove_prefix(1);
    }
    const auto result = std::from_chars(value.data(), value.data() + value.size(), number);
    return result.ec == std::errc() && std::isfinite(number) ? std::make_optional(number)
                                                             : std::nullopt;
}

void Bucket::Add(double value) {
    lowest = count == 0 ? value : std::min(lowest, value);
    highest = count == 0 ? value : std::max(highest, value);
    sum += value;
    ++count;
}

const std::vector<SampleReader::Place> &SampleReader::Places(std::int64_t layout) {
    const auto [found, fresh] = places_.try_emplace(layout);
    std::vector<Place> &places = found->second;
    if (fresh) {
        Rows rows = connection_.Query(
            "SELECT position, point FROM layout_points WHERE layout = ? ORDER BY position",
            {layout});
        while (rows.Next()) {
            const auto wanted = std::find(points_.begin(), points_.end(), rows.Number(1));
            if (wanted != points_.end()) {
                places.push_back({static_cast<int>(rows.Number(0)),
                                  static_cast<std::size_t>(wanted - points_.begin())});
            }
        }
    }
    return places;
}

/// Goes through a document's values as far as the last one that is wanted.
void SampleReader::Fill(const std::vector<Place> &places, std::string_view text,
                        DocumentValues &document) {
    std::fill(document.values.begin(), document.values.end(), std::string_view());
    int position = 0;
    for (const Place &place : places) {
        for (; position < place.position; ++position) {
            text.remove_prefix(std::min(text.find(' '), text.size() - 1) + 1);
            if (text.empty()) {
                return;
            }
        }
        document.values[place.point] = text.substr(0, text.find(' '));
    }
}

void SampleReader::Visit(std::int64_t from, std::int64_t to, Order order,
                         const std::function<bool(const DocumentValues &)> &visit) {
    if (points_.empty()) {
        return;
    }
    const char *const sql =
        order == Order::kOldestFirst
            ? "SELECT time, again, received, layout, \"values\" FROM documents"
              " WHERE gateway = ? AND time BETWEEN ? AND ? ORDER BY time, again, id"
            : "SELECT time, again, received, layout, \"values\" FROM documents"
              " WHERE gateway = ? AND time BETWEEN ? AND ? ORDER BY time DESC, again DESC, id DESC";
    Rows rows = connection_.Stream(sql, {gateway_, from, to});
    DocumentValues document{};
    document.values.resize(points_.size());
    while (rows.Next()) {
        document.time = rows.Number(0);
        document.again = rows.Number(1) != 0;
        document.received = rows.Number(2);
        const std::string_view text = rows.View(4);
        const std::vector<Place> &places = Places(rows.Number(3));
        if (places.empty()) {
            continue;
        }
        Fill(places, text, document);
        if (!visit(document)) {
            return;
        }
    }
}

}  // namespace corvenna::cloud
