#pragma once

namespace corvenna::bench {

/// Writes a configuration of that many points, 200 a device, to the gateway's own places.
void WriteGatewayFiles(unsigned points);

/// The files of its devices, and how many they are.
const char *PointFile(unsigned device);
unsigned DevicesOf(unsigned points);

}  // namespace corvenna::bench
