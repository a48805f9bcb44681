#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/cloud/faults.h"

namespace corvenna::cloud {

struct Options {
    std::string data = "corvenna-cloud-data";
    std::string address = "127.0.0.1";
    std::optional<int> http;
    std::optional<int> https;
    std::string adminAddress = "127.0.0.1";
    int admin = 8081;
    std::string prefix;
    std::string certificate;
    std::string key;
    std::size_t maxBody = 4U << 20U;
    std::size_t maxInflated = 16U << 20U;
    std::size_t maxFile = 64U << 20U;
    std::string readyFile;
    std::vector<Fault> faults;
    bool listRoutes = false;
};

/// Reads the command line. @return nullopt when the program is to end with `exitCode`; what there
/// is to say has been printed.
std::optional<Options> ReadOptions(int argc, char **argv, int &exitCode);

}  // namespace corvenna::cloud
