#pragma once

#include <string>
#include <vector>

#include "base/wire_format.h"
#include "message/records.h"

namespace corvenna::conform {

/// A range as a gateway names it when it has been served.
struct Range {
    recall_time_para times;
    std::string start;
    std::string end;
};

/// What the gateway's own parsers make of an answer.
template <class Entry>
struct List {
    std::string problem;  ///< why it is not understood; empty when it is
    std::vector<Entry> entries;
};

List<Range> ReadRecalls(Format format, const std::string &answer);
List<down_file_para> ReadFiles(Format format, const std::string &answer);

/// Whether a file's entry keeps to what its type puts into commands.
bool HasPlainWords(const down_file_para &file);

/// The MD5 sum in small hexadecimal digits.
std::string Md5(const std::string &bytes);

/// The body of an acknowledgement.
std::string RecallDoneDocument(Format format, const recall_time_para &range);

/// The body that tells what became of a file.
std::string StatusDocument(Format format, const char *md5, int status);

}  // namespace corvenna::conform
