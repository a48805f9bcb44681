#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cloud/store/connection.h"

namespace corvenna::cloud {

/// The values that one document has of the points that were asked for.
struct DocumentValues {
    std::int64_t time;      ///< gateway's local time as seconds since 1970
    bool again;             ///< of the second run of the hour that the end of summer time repeats
    std::int64_t received;  ///< milliseconds since 1970, UTC
    std::vector<std::string_view> values;  ///< a value for each point, empty where there is none
};

/// Reads documents of one gateway. Borrows the connection. One thread.
class SampleReader {
public:
    /// @param points their numbers, in the order in which values are wanted.
    SampleReader(Connection &connection, std::int64_t gateway, std::vector<std::int64_t> points)
        : connection_(connection), gateway_(gateway), points_(std::move(points)) {}

    enum class Order { kOldestFirst, kNewestFirst };
    /// Visits the documents between two times (both included) that have one of the points, until
    /// the visitor returns false. The values live until it returns.
    void Visit(std::int64_t from, std::int64_t to, Order order,
               const std::function<bool(const DocumentValues &)> &visit);

private:
    /// Where one of the points stands in a layout.
    struct Place {
        int position;
        std::size_t point;  ///< which of those that were asked for
    };
    /// In the order of the positions.
    const std::vector<Place> &Places(std::int64_t layout);
    static void Fill(const std::vector<Place> &places, std::string_view text,
                     DocumentValues &document);

    Connection &connection_;
    std::int64_t gateway_;
    std::vector<std::int64_t> points_;
    std::map<std::int64_t, std::vector<Place>> places_;
};

/// The values of a document, cut at its blanks.
void SplitValues(std::string_view text, std::vector<std::string_view> &values);

/// A value as a number; nullopt for what is none that can be drawn ("nan", "inf").
std::optional<double> FiniteNumber(std::string_view value);

/// What the values of one stretch of time come to.
struct Bucket {
    std::int64_t count = 0;
    double lowest = 0, highest = 0, sum = 0;

    void Add(double value);
};

}  // namespace corvenna::cloud
