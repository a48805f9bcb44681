#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace corvenna::test {

/// A file in memory with the fuzzer's input, there as long as the object.
class FuzzFile {
public:
    FuzzFile(const std::uint8_t *data, std::size_t size);
    ~FuzzFile();
    FuzzFile(const FuzzFile &) = delete;
    FuzzFile &operator=(const FuzzFile &) = delete;

    const char *Path() const { return path_.c_str(); }

private:
    int descriptor_;
    std::string path_;
};

}  // namespace corvenna::test
