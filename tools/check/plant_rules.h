#pragma once

#include "tools/check/finding.h"
#include "tools/check/plant.h"

namespace corvenna::check {

// What is wrong with parts that are well in themselves: each looks at one thing.

/// The server's address, the paths, the format, the certificate.
void CheckServer(const Plant &plant, Findings &findings);
/// Model and serial number.
void CheckIdentity(const IdentityEntry &identity, Findings &findings);
/// Devices and points that stand in each other's place, or have no status.
void CheckDevices(const Plant &plant, Findings &findings);
/// Forwarding channels whose tables are passed over.
void CheckProtocols(const XmlFile &file, Findings &findings);
/// Forwarded points that are none, and the channel that the settings name.
void CheckForwarding(const Plant &plant, Findings &findings);
/// What does not fit what the plug-in has room for.
void CheckSizes(const Plant &plant, Findings &findings);

}  // namespace corvenna::check
