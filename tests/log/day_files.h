#pragma once

#include <string>

namespace corvenna::test {

/// The file into which the log writes. Needs a program with day_files.cpp: it lives in a time zone
/// in which the day is far from its end, so no test meets midnight and, with it, the next file.
std::string TodaysFile();

}  // namespace corvenna::test
