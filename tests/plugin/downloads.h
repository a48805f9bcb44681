#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "plugin/download.h"
#include "plugin/plugin.h"
#include "tests/plugin/gateway.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {

constexpr char kCard[] = "/media/mmcblk0p1";
constexpr char kList[] = "/cloud/downfile/GW4567";

/// What a download thread does, run on the test's own thread.
void RunDownload();

/// The statuses that were reported, as "md5 status", in order.
std::vector<std::string> Statuses(const ScriptedServer &server);

/// Leaves the process a PATH with all tools but some.
void HideTools(const std::vector<std::string> &hidden);

/// A server that offers files and serves them by path.
class DownloadTest : public testing::TestWithParam<Wire> {
protected:
    DownloadTest() : DownloadTest(Wire{}) {}
    explicit DownloadTest(const Wire &wire);

    /// Offers a file with its right digest. @return that digest.
    std::string OfferFile(const std::string &file, const std::string &content, int type = 5,
                          const std::string &path = "");

    Wire wire_;
    std::vector<Offer> offers_;
    std::vector<std::pair<std::string, std::string>> files_;
    ScriptedServer server_;
    const LogCapture log_;

private:
    Answer AnswerTo(const Request &request) const;
};

}  // namespace corvenna::test
