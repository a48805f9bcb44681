#pragma once

#include <initializer_list>
#include <string_view>

namespace corvenna {

/// The path of a name that may be the URL of a file.
/// @param schemes what such URLs begin with, in any case, up to the "/" that the path begins with.
/// @return within the name.
const char *WithoutScheme(const char *name, std::initializer_list<std::string_view> schemes);

}  // namespace corvenna
