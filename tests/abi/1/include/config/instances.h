#pragma once

/// @file
/// The single instances of the configuration, made at their first use (safe from several threads)
/// and destroyed when the library is unloaded. Never null; never freed by the caller.

#include "base/export.h"

class CChannelSet;
class CForwardConfig;
class CSysSet;
class CsnSet;

extern "C" {

/// @return the system settings.
CORVENNA_API CSysSet *GetCSysSetInstance();
/// @return model and serial number.
CORVENNA_API CsnSet *GetCsnSetInstance();
/// @return devices and points.
CORVENNA_API CChannelSet *GetCChannelSetInstance();
/// @return the tables of the forwarding channels.
CORVENNA_API CForwardConfig *GetCForwardConfigInstance();
}
