#pragma once

#include <ctime>

namespace corvenna {

/// Reads "2024-03-05 07:08:09" as local time; the result of the scan is not checked. Null is read
/// as "".
std::time_t ReadTime(const char *text);

}  // namespace corvenna
