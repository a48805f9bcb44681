#include "message/recall_body.h"

#include "base/local_time.h"

namespace corvenna {

RecallTime::RecallTime(std::time_t time) : text_{} {
    const std::tm broken = LocalTime(time).value_or(std::tm{});
    // Cannot fail: there is room for any year of an int.
    static_cast<void>(std::strftime(text_, sizeof text_, "%Y-%m-%d %H:%M:%S", &broken));
}

}  // namespace corvenna
