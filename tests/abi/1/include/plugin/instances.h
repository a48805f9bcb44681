#pragma once

/// @file
/// With those of the configuration and of the data files, which come in from below, the accessors
/// of all nine services: the single instance of each, made at its first use (safe from several
/// threads) and destroyed when the library is unloaded. Never null; never freed by the caller.

#include "base/export.h"
#include "config/instances.h"
#include "packfile/packfile.h"

class CHttp;
class CHttps;
class CPackMemory;
class CParseMemory;

extern "C" {

/// @return the builder of request bodies.
CORVENNA_API CPackMemory *GetCPackMemoryInstance();
/// @return the parser of the server's answers.
CORVENNA_API CParseMemory *GetCParseMemoryInstance();
/// @return the plain HTTP client.
CORVENNA_API CHttp *GetCHttpInstance();
/// @return the HTTPS client.
CORVENNA_API CHttps *GetCHttpsInstance();
}
