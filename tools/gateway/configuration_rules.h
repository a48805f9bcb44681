#pragma once

#include <string>
#include <vector>

#include "tools/gateway/configuration.h"

namespace corvenna::gateway {

/// Throws std::runtime_error for what the plug-in would change, cut or pass over, or could not make
/// a URL or a file of.
void CheckOptions(const ConfigurationOptions &options);
void CheckDevices(const ConfigurationOptions &options, const Catalogue &devices);

/// Throws std::runtime_error when there is a certificate that cannot be read, here or below the
/// root.
void CheckCertificate(const ConfigurationOptions &options, const std::string &root);

/// What can be meant, and most often is not.
std::vector<std::string> Warnings(const ConfigurationOptions &options);

}  // namespace corvenna::gateway
