#pragma once

#include <istream>
#include <string>
#include <vector>

#include "tools/gateway/source.h"

namespace corvenna::gateway {

/// Splits one line of comma-separated values; a cell may stand between double quotes.
std::vector<std::string> SplitCsvLine(const std::string &line);

/// Recorded values: a first row that names the points, then one row a sample, from the first again
/// after the last. A column is called "Device/Point [unit]" or by the eight hexadecimal digits of a
/// data id; one called "time" is passed over. A cell that is empty or not there is a point that
/// could not be read.
class CsvSource : public Source {
public:
    /// Reads everything at once. Throws std::runtime_error when a name or a number cannot be
    /// understood, or when there is no row of values.
    explicit CsvSource(std::istream &stream);

    const Catalogue &Devices() const override { return devices_; }
    Values Read(std::time_t now) override;

private:
    void ReadHeader(const std::string &line);
    void AddColumn(const std::string &name);
    std::uint32_t AddById(std::uint32_t id);
    std::uint32_t AddByName(const std::string &name, const std::string &point,
                            const std::string &unit);
    void ReadRow(const std::string &line, int number);

    static constexpr std::uint32_t kNoPoint = 0;

    Catalogue devices_;
    std::vector<std::uint32_t> columns_;  // the data id of each, kNoPoint for the time
    std::vector<Values> rows_;
    std::size_t next_ = 0;
};

}  // namespace corvenna::gateway
