#pragma once

#include "plugin/cloud.h"

namespace corvenna {

/// The URL field of a request record. At most 126 characters are kept, longer URLs are cut.
using Url = char[128];

// The server's REST paths. The path prefix of the settings goes in as it stands.

void PrintGatewayUrl(const Cloud &cloud, Url &url);
void PrintDevicesUrl(const Cloud &cloud, Url &url);
void PrintRealDataUrl(const Cloud &cloud, Url &url);
void PrintAlarmDataUrl(const Cloud &cloud, Url &url);
/// Recalls: asked for and acknowledged here.
void PrintRecallUrl(const Cloud &cloud, Url &url);
/// Offered files: listed here, their status reported here.
void PrintOffersUrl(const Cloud &cloud, Url &url);
/// One offered file, by its name on the server.
void PrintFileUrl(const Cloud &cloud, const char *file, Url &url);

}  // namespace corvenna
