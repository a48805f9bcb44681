#include "bench/http/server_process.h"

#include <spawn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/support/files.h"
#include "tests/support/scripted_server.h"

namespace corvenna::bench {
namespace {

/// The file of "/file/BYTES"; made once.
const std::string &FileOf(const std::string &path) {
    static const std::string content(std::stoul(path.substr(std::strlen(kFilePath))), 'x');
    return content;
}

/// What the operations need to succeed; each answer is sent in one piece, so that every request
/// reads equally often.
test::Answer AnswerTo(const test::Request &request) {
    if (request.path.rfind(kFilePath, 0) == 0) {
        return test::ReplyFile(FileOf(request.path));
    }
    return request.method == "DELETE" ? test::Reply(204) : test::Reply(200, "{\"result\":0}");
}

/// The reading end of a pipe whose writing end is `to`'s.
struct Pipe {
    int from = -1;
    int to = -1;
};

Pipe MakePipe() {
    int ends[2];
    if (pipe(ends) != 0) {
        std::perror("pipe");
        std::exit(1);
    }
    return {ends[0], ends[1]};
}

}  // namespace

void ServeIfAsked(int argc, char **argv) {
    if (argc != 4 || std::strcmp(argv[1], "--serve") != 0) {
        return;
    }
    test::ScriptedServer server(std::strcmp(argv[2], "https") == 0 ? test::Protocol::kHttps
                                                                   : test::Protocol::kHttp);
    server.Otherwise(AnswerTo);
    test::WriteFile(argv[3], server.Certificate());
    std::puts(server.Url("").c_str());
    std::fflush(stdout);
    while (std::getchar() != EOF) {  // the client's end closes the pipe
    }
    std::_Exit(0);
}

std::string StartServer(bool https, const std::string &certificateFile) {
    char program[4096];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof program - 1);
    program[length < 0 ? 0 : length] = '\0';
    char option[] = "--serve";
    char scheme[] = "https";
    scheme[https ? 5 : 4] = '\0';
    std::string file = certificateFile;
    char *arguments[] = {program, option, scheme, file.data(), nullptr};

    const Pipe life = MakePipe();
    const Pipe address = MakePipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, life.from, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, address.to, STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, life.to);
    pid_t process = 0;
    if (posix_spawn(&process, program, &actions, nullptr, arguments, environ) != 0) {
        std::fprintf(stderr, "%s cannot be started as a server\n", program);
        std::exit(1);
    }
    posix_spawn_file_actions_destroy(&actions);
    close(life.from);  // life.to stays open until this process ends
    close(address.to);
    std::string url;
    char byte = '\0';
    while (read(address.from, &byte, 1) == 1 && byte != '\n') {
        url += byte;
    }
    close(address.from);
    return url;
}

}  // namespace corvenna::bench
