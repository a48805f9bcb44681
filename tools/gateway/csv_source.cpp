#include "tools/gateway/csv_source.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "tools/gateway/report.h"

namespace corvenna::gateway {

namespace {

constexpr const char *kByteOrderMark = "\xEF\xBB\xBF";
constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

std::string WithoutByteOrderMark(const std::string &line) {
    return line.rfind(kByteOrderMark, 0) == 0 ? line.substr(std::strlen(kByteOrderMark)) : line;
}

std::string WithoutLineEnd(std::string line) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

double ReadNumber(const std::string &cell) {
    char *end = nullptr;
    const double value = std::strtod(cell.c_str(), &end);
    // A NUL inside ends the number, not the cell.
    if (end != cell.c_str() + cell.size() || !std::isfinite(value)) {
        throw std::runtime_error("'" + Printable(cell) + "' is no number");
    }
    return value;
}

bool AreAllEmpty(const std::vector<std::string> &cells) {
    return std::all_of(cells.begin(), cells.end(), [](const auto &cell) { return cell.empty(); });
}

/// Says where something is wrong.
template <class Read>
void ReadAt(const std::string &place, Read read) {
    try {
        read();
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(place + ": " + error.what());
    }
}

}  // namespace

std::vector<std::string> SplitCsvLine(const std::string &line) {
    std::vector<std::string> cells(1);
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool doubled = quoted && line[i] == '"' && i + 1 < line.size() && line[i + 1] == '"';
        if (doubled) {
            cells.back() += '"';
            ++i;
        } else if (line[i] == '"') {
            quoted = !quoted;
        } else if (line[i] == ',' && !quoted) {
            cells.emplace_back();
        } else {
            cells.back() += line[i];
        }
    }
    return cells;
}

CsvSource::CsvSource(std::istream &stream, const std::string &name) {
    std::string line;
    if (!std::getline(stream, line)) {
        throw std::runtime_error(name + " is empty");
    }
    ReadAt(name, [&] { ReadHeader(WithoutByteOrderMark(WithoutLineEnd(line))); });
    for (int number = 2; std::getline(stream, line); ++number) {
        if (!WithoutLineEnd(line).empty()) {
            ReadAt(name + ", line " + std::to_string(number),
                   [&] { ReadRow(WithoutLineEnd(line)); });
        }
    }
    if (rows_.empty()) {
        throw std::runtime_error(name + " has no row of values");
    }
}

void CsvSource::ReadHeader(const std::string &line) {
    for (const std::string &column : SplitCsvLine(line)) {
        columns_.push_back(column == "time" ? kNoPoint : points_.Add(column));
    }
    const auto isNamed = [](std::uint32_t id) { return id != kNoPoint; };
    if (std::none_of(columns_.begin(), columns_.end(), isNamed)) {
        throw std::runtime_error("the first row names no point");
    }
}

void CsvSource::ReadRow(const std::string &line) {
    const std::vector<std::string> cells = SplitCsvLine(line);
    if (cells.size() > columns_.size()) {
        throw std::runtime_error("more cells than the first row has");
    }
    std::vector<double> row(columns_.size(), kNoValue);
    bool hasValue = false;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (columns_[i] != kNoPoint && !cells[i].empty()) {
            row[i] = ReadNumber(cells[i]);
            hasValue = true;
        }
    }
    if (!hasValue && !AreAllEmpty(cells)) {
        throw std::runtime_error("no value in this row, though it is not empty");
    }
    rows_.push_back(std::move(row));
}

Values CsvSource::Read(std::time_t) {
    const std::vector<double> &row = rows_[next_];
    next_ = (next_ + 1) % rows_.size();
    Values values;
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (!std::isnan(row[i])) {
            values[columns_[i]] = row[i];
        }
    }
    return values;
}

}  // namespace corvenna::gateway
