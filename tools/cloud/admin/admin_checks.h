#pragma once

#include <string>

namespace corvenna::cloud {

/// Whether a name can be offered: 1 to 48 letters, digits and "._+-" that begin with a letter or a
/// digit, so that it is a plain word wherever gateways use it.
bool IsFileName(const std::string &name);

/// Whether a gateway may put a plain file there: an absolute path of letters, digits and "._+-/"
/// without "..".
bool IsTargetPath(const std::string &path);

}  // namespace corvenna::cloud
