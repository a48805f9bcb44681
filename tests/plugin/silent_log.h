#pragma once

#include <atomic>

/// How many warnings and errors were logged. The programs that link this wrap log_Text and log_DB:
/// their log takes no memory, its own shortage is tested where it is.
extern std::atomic<int> gComplaints;
