#pragma once

/// Announces the gateway. Blocks up to 90 s.
/// @return 0 when the server answered 200 or 201, otherwise -1.
int HTTP_POSTGateWayInfo();

/// Announces the devices. Blocks up to 90 s.
/// @return 0 when the server answered 200 or 201, otherwise -1.
int HTTP_POSTDevices();
