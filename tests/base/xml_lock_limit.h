#pragma once

#include <atomic>
#include <ctime>

namespace corvenna::test {

/// For how much longer than it asks to whoever wants libxml2 alone waits: where the limit is not
/// what is looked at, no thread that stands still for a moment may let it run out.
extern std::atomic<std::time_t> gXmlLockSecondsMore;

}  // namespace corvenna::test
