#pragma once

#include <string>

namespace corvenna::bench {

/// Behind this path stands the number of bytes of a file that the server has.
constexpr char kFilePath[] = "/file/";

/// Serves for as long as it is asked to when the program was started for that, as
/// "PROGRAM --serve http FILE" or "PROGRAM --serve https FILE"; otherwise returns at once. Called
/// first in main.
void ServeIfAsked(int argc, char **argv);

/// Starts this program again as a server, a process of its own, so that neither its instructions
/// nor its heap count as the client's. It ends with this process.
/// @param certificateFile is written with the server's certificate, for the client to trust.
/// @return "http://127.0.0.1:PORT" or its https twin.
std::string StartServer(bool https, const std::string &certificateFile);

}  // namespace corvenna::bench
