#pragma once

#include <httplib.h>

#include <string>

namespace corvenna::cloud {

/// Whether a Host header names this machine by number or as localhost. Any other name could be one
/// that a foreign web page had resolved to this server in order to be allowed to read from it.
bool IsHostTrusted(const std::string &host);

/// Whether a request that changes something comes from this server's own page or from no page.
bool IsOriginTrusted(const httplib::Request &request);

/// Whether a name can be offered: 1 to 48 letters, digits and "._+-" that begin with a letter or a
/// digit, so that it is a plain word wherever gateways use it.
bool IsFileName(const std::string &name);

/// Whether a gateway may put a plain file there: an absolute path of letters, digits and "._+-/"
/// without "..".
bool IsTargetPath(const std::string &path);

}  // namespace corvenna::cloud
