#pragma once

#include <string>
#include <vector>

#include "tests/support/log_capture.h"
#include "tests/support/scripted_server.h"

namespace corvenna::test {

// What a world that goes wrong is met with: every entry point, one after the other. For programs
// with a LogCapture.

constexpr char kWorldFile[] = "/tmp/S.jsonxml";
constexpr char kWorldRecalls[] = R"({"node":[{"startdt":"1970-01-01 00:00:00","enddt":""}]})";

struct EntryPoint {
    const char *name;
    int (*call)();
};

/// Those that send a request.
const std::vector<EntryPoint> &EntryPoints();

int CheckRecalls();
/// How many ranges the last CheckRecalls got.
std::size_t Recalled();

/// What a server that is well answers.
Answer WellAnswer(const Request &request);

/// The texts of the transport's refusals.
std::vector<std::string> Refusals(const LogCapture &log);

/// The call fails with one refusal that holds the text.
void ExpectFails(const EntryPoint &entry, const std::string &text);
void ExpectAllFail(const std::string &text);

/// A download runs to its end and leaves its mutex free.
void ExpectDownloadEnds();

/// Lets the server be well. Every entry point works and a download runs to its end.
void ExpectAllWorkOn(ScriptedServer &server);

}  // namespace corvenna::test
