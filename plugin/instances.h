#pragma once

#include "base/export.h"

class CChannelSet;
class CForwardConfig;
class CHttp;
class CHttps;
class CPackFile;
class CPackMemory;
class CParseMemory;
class CSysSet;
class CsnSet;

// The single instance of each service, made at its first use (safe from several threads) and
// destroyed when the library is unloaded. Never null; never freed by the caller.
extern "C" {

CORVENNA_API CSysSet *GetCSysSetInstance();
CORVENNA_API CsnSet *GetCsnSetInstance();
CORVENNA_API CChannelSet *GetCChannelSetInstance();
CORVENNA_API CForwardConfig *GetCForwardConfigInstance();
CORVENNA_API CPackFile *GetCPackFileInstance();
CORVENNA_API CPackMemory *GetCPackMemoryInstance();
CORVENNA_API CParseMemory *GetCParseMemoryInstance();
CORVENNA_API CHttp *GetCHttpInstance();
CORVENNA_API CHttps *GetCHttpsInstance();
}
