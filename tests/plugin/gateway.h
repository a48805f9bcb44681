#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "tests/support/scripted_server.h"

namespace corvenna::test {

/// How a test's gateway talks to its server.
struct Wire {
    std::string format = "json";
    Protocol protocol = Protocol::kHttp;
    bool compressed = false;
};

/// "JsonHttp", "XmlHttpsDeflated": for the names of parameterised tests.
std::string NameOf(const Wire &wire);
void PrintTo(const Wire &wire, std::ostream *stream);

/// Both formats over both protocols, uncompressed.
std::vector<Wire> AllWires();

/// The serial text of every gateway in these tests.
constexpr char kSerial[] = "GW4567";

/// Puts settings into the single instances as if they had been loaded: the server's address and
/// port, the prefix "/cloud", the serial text.
void Configure(const ScriptedServer &server, const Wire &wire = {});

/// An offered file as the server's list tells it.
struct Offer {
    std::string file;
    std::string md5;
    int type = 5;
    std::string path;
};

/// The server's list of offered files.
std::string OfferList(const std::vector<Offer> &offers, const std::string &format = "json");

/// The body that reports a file's status.
std::string StatusBody(const std::string &md5, int status, const std::string &format = "json");

/// 32 lower-case hexadecimal digits.
std::string Md5Of(const std::string &content);

/// Takes the calling thread (and all that it starts) into a mount namespace of its own.
/// @return false where the machine does not allow it; the test should be skipped then.
bool OwnMounts();

/// Gives the process a /bin/sh that understands `let` and `echo -e`, as the gateway's does.
/// @return false where that is not allowed; the test should be skipped then.
bool UseGatewayShell();

/// Replaces a folder's content with a file system of that many bytes, or a read-only one.
bool MountSmall(const std::string &folder, int bytes);
bool MountReadOnly(const std::string &folder);

/// Runs a command that must succeed.
void RunCommand(const std::string &command);

/// "METHOD path" of every request, in order.
std::vector<std::string> Lines(const std::vector<Request> &requests);

/// A deflated body with its terminating NUL taken off; fails the test when there is none.
std::string Inflated(const std::string &body);

}  // namespace corvenna::test
