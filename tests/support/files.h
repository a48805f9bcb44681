#pragma once

#include <string>
#include <vector>

namespace corvenna::test {

/// The whole content of a file; fails the running test when it cannot be read.
std::string ReadFile(const std::string &path);

/// Writes a file, making the folders above it.
void WriteFile(const std::string &path, const std::string &content);

/// Names of the entries of a folder, sorted; empty when there is no such folder.
std::vector<std::string> ListFolder(const std::string &path);

}  // namespace corvenna::test
