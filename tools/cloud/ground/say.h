#pragma once

#include <string>

namespace corvenna::cloud {

/// Writes a line to standard error, with the time. Any thread may call.
void Say(const std::string &text);

/// The same for what every request may meet while something is away: what was said within the last
/// ten seconds is not said again.
void SayRarely(const std::string &text);

}  // namespace corvenna::cloud
