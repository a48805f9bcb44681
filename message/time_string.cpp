#include "message/time_string.h"

#include <cstdio>

#include "base/local_time.h"

namespace corvenna {

std::time_t ReadTime(const char *text) {
    std::tm broken{};
    // What the scan does not find stays zero; its result is not looked at.
    // NOLINTNEXTLINE(cert-err34-c): a number that is none is such a part
    static_cast<void>(std::sscanf(text != nullptr ? text : "", "%04d-%02d-%02d %02d:%02d:%02d",
                                  &broken.tm_year, &broken.tm_mon, &broken.tm_mday, &broken.tm_hour,
                                  &broken.tm_min, &broken.tm_sec));
    broken.tm_year -= 1900;
    broken.tm_mon -= 1;
    broken.tm_isdst = -1;
    return FromLocalTime(broken);
}

}  // namespace corvenna
