#pragma once

#include <istream>
#include <string>
#include <vector>

#include "tools/gateway/recorded_points.h"
#include "tools/gateway/source.h"

namespace corvenna::gateway {

/// Splits one line of comma-separated values; a cell may stand between double quotes.
std::vector<std::string> SplitCsvLine(const std::string &line);

/// Recorded values: a first row that names the points, then one row a sample, from the first again
/// after the last. A column is called "Device/Point [unit]" or by the eight hexadecimal digits of a
/// data id; one called "time" is passed over. A cell that is empty or not there is a point that
/// could not be read; a row of nothing but empty cells is a moment at which nothing was.
class CsvSource : public Source {
public:
    /// Reads everything at once. Throws std::runtime_error, with name and line, when a name or a
    /// number cannot be understood, a row has no value, or there is no row.
    CsvSource(std::istream &stream, const std::string &name);

    const Catalogue &Devices() const override { return points_.Devices(); }
    Values Read(std::time_t now) override;

private:
    void ReadHeader(const std::string &line);
    void ReadRow(const std::string &line);

    static constexpr std::uint32_t kNoPoint = 0;

    RecordedPoints points_;
    std::vector<std::uint32_t> columns_;     // the data id of each, kNoPoint for the time
    std::vector<std::vector<double>> rows_;  // a value a column, a NaN where there is none
    std::size_t next_ = 0;
};

}  // namespace corvenna::gateway
