#pragma once

#include "config/sys_set.h"
#include "http/frame.h"
#include "http/http.h"
#include "http/https.h"
#include "plugin/instances.h"

namespace corvenna {

/// Where the requests of one call go and under which name, read once at its beginning. Borrows from
/// the configuration instances.
struct Cloud {
    const ST_CLOUDSERVER_CONFIG_ATTR &settings;
    const char *serial;  ///< the gateway's name towards the server
    bool secure;         ///< HTTPS, otherwise plain HTTP
};

Cloud ReadCloud();

/// A zero-filled request with its format, method and answer handler set.
ST_FRAME_MEMORY_UPLOAD MemoryRequest(const Cloud &cloud, const char *method,
                                     TransferCallback onResponse);
/// The same for a file; the caller adds the callbacks that its direction needs.
ST_FRAME_FILE_UPLOAD FileRequest(const Cloud &cloud, const char *method, const char *path);

/// Stores what a body builder returned.
/// @return false when no body could be built (logged); the request must not be made then.
bool SetBodyLength(ST_FRAME_MEMORY_UPLOAD &request, int length);

/// Runs an operation on the client that the scheme asks for; the other one is not even created.
template <class Operation>
int WithClient(const Cloud &cloud, Operation operation) {
    return cloud.secure ? operation(*GetCHttpsInstance()) : operation(*GetCHttpInstance());
}

/// The common case: one request whose body is held in memory.
/// @param outcome receives how the exchange ended, when not null.
int Send(const Cloud &cloud, ST_FRAME_MEMORY_UPLOAD &request, Outcome *outcome = nullptr);

}  // namespace corvenna
