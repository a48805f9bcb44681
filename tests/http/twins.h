#pragma once

#include <gtest/gtest.h>

#include <string>

#include "http/frame.h"
#include "http/outcome.h"
#include "tests/support/scripted_server.h"

namespace corvenna::test {

/// One of the two clients, so that a rule they share is tested once.
struct Twin {
    const char *name;
    Protocol protocol;
    int (*upload)(ST_FRAME_MEMORY_UPLOAD *frame);
    int (*exchange)(ST_FRAME_MEMORY_UPLOAD *frame, Outcome &outcome);
    int (*get)(ST_FRAME_MEMORY_UPLOAD *frame);
    int (*post)(ST_FRAME_MEMORY_UPLOAD *frame);
    int (*put)(ST_FRAME_MEMORY_UPLOAD *frame);
    int (*remove)(ST_FRAME_MEMORY_UPLOAD *frame);
    int (*realData)(ST_FRAME_FILE_UPLOAD *frame, int *httpCode);
    int (*alarmData)(ST_FRAME_FILE_UPLOAD *frame);
    int (*download)(ST_FRAME_FILE_UPLOAD *frame);
    const char *(*area)();
};

/// Names a client in a test's parameter.
void PrintTo(const Twin *client, std::ostream *stream);

extern const Twin kHttpTwin;
extern const Twin kHttpsTwin;

/// A rule of both clients, against a server that speaks the client's protocol.
class Twins : public testing::TestWithParam<const Twin *> {
protected:
    const Twin &client() const { return *GetParam(); }
    bool IsHttps() const { return GetParam() == &kHttpsTwin; }
    /// Picks the client's own text.
    std::string Either(const std::string &http, const std::string &https) const {
        return IsHttps() ? https : http;
    }
};

std::string TwinName(const testing::TestParamInfo<const Twin *> &info);

#define CORVENNA_BOTH_TWINS(suite)                                                           \
    INSTANTIATE_TEST_SUITE_P(                                                                \
        Of, suite, testing::Values(&corvenna::test::kHttpTwin, &corvenna::test::kHttpsTwin), \
        corvenna::test::TwinName)

/// Zeroed but for these; the write callback collects, see Received().
ST_FRAME_MEMORY_UPLOAD MemoryFrame(const std::string &url, const std::string &method,
                                   const std::string &body = "",
                                   const std::string &format = "json");

/// Zeroed but for these; no callbacks.
ST_FRAME_FILE_UPLOAD FileFrame(const std::string &url, const std::string &path,
                               const std::string &format = "json");

/// A write callback that collects what it receives, and what it received.
std::size_t Collect(char *data, std::size_t size, std::size_t count, void *user);
std::string Received();

/// A write callback and a read callback that abort their transfer.
std::size_t RefuseWrite(char *data, std::size_t size, std::size_t count, void *user);
std::size_t RefuseRead(char *data, std::size_t size, std::size_t count, void *user);

/// Plain fread and fwrite on the transfer's file, as the entry points use them.
std::size_t ReadFromFile(char *data, std::size_t size, std::size_t count, void *user);
std::size_t WriteToFile(char *data, std::size_t size, std::size_t count, void *user);

/// The settings that requests depend on.
void SetCompress(bool on);
void SetHttps(const std::string &certfile, const std::string &user, const std::string &password);

/// A header block from its lines.
std::string Block(const std::vector<std::string> &lines);
/// "Host: 127.0.0.1:PORT".
std::string HostLine(const ScriptedServer &server);

}  // namespace corvenna::test
