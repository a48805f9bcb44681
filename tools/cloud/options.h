#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/cloud/admin/admin_site.h"
#include "tools/cloud/faults/faults.h"
#include "tools/cloud/gateway/gateway_site.h"
#include "tools/cloud/net/limits.h"
#include "tools/cloud/store/ledger.h"

namespace corvenna::cloud {

struct Options {
    std::string data = "corvenna-cloud-data";
    std::string store;  ///< address of a database, or another folder; empty: the data folder
    std::chrono::seconds storeTime{30};  ///< for each answer of a database
    std::string address = "127.0.0.1";
    std::optional<int> http;
    std::optional<int> https;
    std::string adminAddress = "127.0.0.1";
    int admin = 8081;
    std::string certificate;
    std::string key;
    GatewaySettings gateways;
    AdminSettings administrator;
    Limits limits;
    bool adminTls = false;
    std::string readyFile;
    std::vector<Fault> faults;
    Keeping keeping;
    bool listRoutes = false;
};

/// Reads the command line. @return nullopt when the program is to end with `exitCode`; what there
/// is to say has been printed.
std::optional<Options> ReadOptions(int argc, char **argv, int &exitCode);

}  // namespace corvenna::cloud
