#pragma once

#include <string>
#include <vector>

namespace corvenna::gateway {

/// How an exchange with the server went.
struct Exchange {
    bool succeeded = false;
    std::string url;     ///< that was asked for; empty when nothing was
    int status = 0;      ///< HTTP status of the answer, 0 when none came
    std::string reason;  ///< libcurl's words for a transfer that went wrong; empty when none did
    std::string note;    ///< what else the plug-in complained of
};

/// What came of a production.
struct Production {
    std::string path;  ///< of the file; empty when there is none
    std::string note;  ///< what the plug-in complained of
};

constexpr int kTooLarge = 413;

/// What the plug-in says of a request body that it had to cut.
constexpr const char *kCutBody = "does not fit the buffer";

/// Reads from the plug-in's messages, in their order, what an exchange came to.
Exchange ReadExchange(bool succeeded, const std::vector<std::string> &messages);

/// The message of a body that was cut, else the last that tells of neither a beginning nor an end.
std::string ReadNote(const std::vector<std::string> &messages);

/// Whether a message by itself tells of a failure.
bool TellsTrouble(const std::string &message);

/// Why an exchange failed, in one line: "refused with 404 for http://...; is the path prefix
/// right?".
std::string Cause(const Exchange &exchange);

}  // namespace corvenna::gateway
