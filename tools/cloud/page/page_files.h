#pragma once

#include <cstddef>
#include <string_view>

namespace corvenna::cloud {

/// One file of the web page, as it was built into the program.
struct PageFile {
    std::string_view name;
    const unsigned char *bytes;
    std::size_t length;
};

/// @return null when the page has no such file. What is returned lives as long as the program.
const PageFile *FindPageFile(std::string_view name);

}  // namespace corvenna::cloud
