#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "base/file_descriptor.h"
#include "tools/cloud/ground/refusal.h"
#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/gateway_points.h"
#include "tools/cloud/store/queries.h"
#include "tools/cloud/store/sample_reader.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kBlock = 65536;
constexpr std::int64_t kMostLines = 1000000;

void Require(bool good) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), "a table cannot be written");
    }
}

/// A file that is gone when nobody has it open any more, written block by block.
class UnnamedFile {
public:
    explicit UnnamedFile(const std::string &folder) {
        std::string name = folder + "/export-XXXXXX";
        file_ = FileDescriptor(mkstemp(name.data()));
        Require(static_cast<bool>(file_) && unlink(name.c_str()) == 0);
    }
    void Add(std::string_view text) {
        block_.append(text);
        if (block_.size() >= kBlock) {
            Flush();
        }
    }
    FileDescriptor Take() {
        Flush();
        return std::move(file_);
    }

private:
    void Flush() {
        std::string_view rest = block_;
        while (!rest.empty()) {
            const ssize_t written = write(file_.Get(), rest.data(), rest.size());
            Require(written > 0 || errno == EINTR);
            rest.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
        }
        block_.clear();
    }

    FileDescriptor file_;
    std::string block_;
};

/// A text as a cell. A spreadsheet takes what begins with one of these characters for a formula;
/// with an apostrophe before it, it is a text.
std::string Cell(const std::string &text) {
    constexpr const char *kFormula = "=+-@\t\r";
    std::string cell = "\"";
    if (text.find_first_of(kFormula) == 0) {
        cell += '\'';
    }
    for (const char c : text) {
        cell += c;
        if (c == '"') {
            cell += c;
        }
    }
    return cell + '"';
}

std::string Heading(const PointRow &point) {
    return Cell(point.name + (point.unit.empty() ? "" : " [" + point.unit + "]") + " " +
                point.dblink);
}

std::string Line(const DocumentValues &document) {
    std::string line = TimeText(document.time) + "," + UtcText(document.received);
    for (const std::string_view value : document.values) {
        line += ',';
        line += value;
    }
    return line + "\r\n";
}

}  // namespace

std::optional<FileDescriptor> Queries::Export(const std::string &sn,
                                              const std::vector<std::string> &dblinks,
                                              const TimeRange &range) {
    Store::Reader reader = store_.Read();
    const auto gateway = GatewayNumber(reader.Get(), sn);
    if (!gateway) {
        return std::nullopt;
    }
    const auto points = FindPoints(reader.Get(), *gateway, dblinks);
    UnnamedFile file(store_.Folder());
    file.Add("time,received");
    for (const PointRow &point : points) {
        file.Add("," + Heading(point));
    }
    file.Add("\r\n");
    std::int64_t lines = 0;
    SampleReader samples(reader.Get(), *gateway, Numbers(points));
    samples.Visit(SecondsOf(range.start), SecondsOf(range.end), SampleReader::Order::kOldestFirst,
                  [&](const DocumentValues &document) {
                      if (++lines > kMostLines) {
                          throw Refusal{400, "the table would have more than " +
                                                 std::to_string(kMostLines) +
                                                 " lines; choose a shorter range"};
                      }
                      file.Add(Line(document));
                      return true;
                  });
    return file.Take();
}

}  // namespace corvenna::cloud
