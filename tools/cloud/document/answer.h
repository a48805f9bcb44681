#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/cloud/document/document.h"

namespace corvenna::cloud {

using Fields = std::vector<std::pair<std::string, std::string>>;

/// A document with named texts: {"result":"ok"} or <data result="ok"/>.
std::string FlatAnswer(Format format, const Fields &fields);

/// A list as gateways read it: {"node":[{...}]} or <data><node .../></data>. It stops before it
/// would outgrow one network packet, because a gateway parses each block that arrives by itself;
/// what is left out comes with the next request.
std::string ListAnswer(Format format, const std::vector<Fields> &nodes);

const char *ContentType(Format format);

}  // namespace corvenna::cloud
