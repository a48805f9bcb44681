#pragma once

namespace corvenna {

/// Local date and time of a log entry, as both sinks store them.
struct LogStamp {
    char date[12];  ///< "2024-03-05"
    char time[12];  ///< "07:08:09"
};

/// The stamp of this moment. Any thread may ask; none waits for another.
LogStamp CurrentLogStamp();

}  // namespace corvenna
