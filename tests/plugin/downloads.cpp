#include "tests/plugin/downloads.h"

#include <algorithm>
#include <cstdlib>

namespace corvenna::test {
namespace {

/// A path without its percent signs.
std::string Decoded(const std::string &path) {
    std::string text;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (path[i] == '%') {
            text += static_cast<char>(std::stoi(path.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            text += path[i];
        }
    }
    return text;
}

}  // namespace

void RunDownload() {
    ASSERT_EQ(pthread_mutex_lock(&down_file_mutex), 0);
    EXPECT_EQ(DownFile(nullptr), nullptr);
    ASSERT_EQ(pthread_mutex_trylock(&down_file_mutex), 0) << "the mutex must be free again";
    pthread_mutex_unlock(&down_file_mutex);
}

std::vector<std::string> Statuses(const ScriptedServer &server) {
    std::vector<std::string> statuses;
    for (const Request &request : server.Requests()) {
        if (request.method == "PUT") {
            const std::string key = R"("md5":")";
            const std::size_t md5 = request.body.find(key) + key.size();
            const std::size_t end = request.body.find("\",\"status\":\"");
            statuses.push_back(request.body.substr(md5, end - md5) + " " +
                               request.body.substr(end + 12, 1));
        }
    }
    return statuses;
}

void HideTools(const std::vector<std::string> &hidden) {
    RunCommand("mkdir /tmp/bin");
    for (const std::string tool :
         {"md5sum", "unzip", "zip", "awk", "sed", "ls", "mv", "cp", "touch"}) {
        if (std::find(hidden.begin(), hidden.end(), tool) == hidden.end()) {
            RunCommand("ln -s $(command -v " + tool + ") /tmp/bin/");
        }
    }
    ASSERT_EQ(setenv("PATH", "/tmp/bin", 1), 0);
}

DownloadTest::DownloadTest(const Wire &wire) : wire_(wire), server_(wire.protocol) {
    Configure(server_, wire);
    server_.Otherwise([this](const Request &request) { return AnswerTo(request); });
}

std::string DownloadTest::OfferFile(const std::string &file, const std::string &content, int type,
                                    const std::string &path) {
    files_.emplace_back(file, content);
    offers_.push_back({file, Md5Of(content), type, path});
    return offers_.back().md5;
}

Answer DownloadTest::AnswerTo(const Request &request) const {
    if (request.method == "GET" && request.path == kList) {
        return Reply(200, OfferList(offers_, wire_.format));
    }
    const std::string asked = Decoded(request.path);
    for (const auto &[path, content] : files_) {
        if (request.method == "GET" && asked == "/cloud/" + path) {
            return ReplyFile(content);
        }
    }
    return Reply(request.method == "PUT" ? 200 : 404);
}

}  // namespace corvenna::test
