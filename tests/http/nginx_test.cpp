#include <arpa/inet.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "tests/http/twins.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

// Every operation against a server that shares no code with ours.

constexpr char kProgram[] = "/usr/sbin/nginx";

/// A listening socket on 127.0.0.1 and a port that the system chooses; handed to nginx as it is, so
/// that nobody else can take the port and clients may connect at once.
class Listener {
public:
    // nginx expects what it takes over not to block.
    Listener() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address_;
        auto *generic = reinterpret_cast<sockaddr *>(&address_);
        EXPECT_EQ(bind(socket_, generic, length), 0);
        EXPECT_EQ(listen(socket_, SOMAXCONN), 0);
        EXPECT_EQ(getsockname(socket_, generic, &length), 0);
    }
    ~Listener() { close(socket_); }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    int Descriptor() const { return socket_; }
    std::string Address() const { return "127.0.0.1:" + std::to_string(ntohs(address_.sin_port)); }

private:
    int socket_;
    sockaddr_in address_{};
};

class Nginx : public Twins {
protected:
    void SetUp() override {
        if (access(kProgram, X_OK) != 0) {
            GTEST_SKIP() << "nginx is not installed (package nginx-light)";
        }
        if (ReadFile("/proc/self/setgroups") == "deny\n") {
            GTEST_SKIP() << "nginx sets the groups of its workers; this user namespace forbids it";
        }
        WriteFile("/tmp/nginx/www/file", kContent);
        WriteConfiguration();
        Start();
    }
    void TearDown() override {
        if (process_ > 0) {
            kill(process_, SIGTERM);
            waitpid(process_, nullptr, 0);
        }
    }

    std::string Url(const std::string &path) const {
        return IsHttps() ? "https://" + tls_.Address() + path : "http://" + plain_.Address() + path;
    }

    static constexpr char kContent[] = "content of a file on the server";

private:
    void WriteConfiguration() const {
        ASSERT_EQ(
            std::system("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes "
                        "-subj /CN=localhost -keyout /tmp/nginx/key.pem "
                        "-out /tmp/nginx/cert.pem 2>/dev/null"),
            0);
        WriteFile("/tmp/nginx/nginx.conf",
                  "daemon off;\nuser root;\nworker_processes 1;\npid /tmp/nginx/pid;\n"
                  "error_log /tmp/nginx/error.log;\nevents {}\nhttp {\n"
                  "access_log off;\nclient_body_temp_path /tmp/nginx/body;\n"
                  "server {\nlisten " +
                      plain_.Address() + ";\nlisten " + tls_.Address() +
                      " ssl;\nssl_certificate /tmp/nginx/cert.pem;\n"
                      "ssl_certificate_key /tmp/nginx/key.pem;\nroot /tmp/nginx/www;\n"
                      "location / { dav_methods PUT DELETE; create_full_put_path on; }\n"
                      "location /accepted { return 200 accepted; }\n"
                      "location /waiting { return 426; }\n}\n}\n");
    }

    void Start() {
        // nginx takes over listening sockets that this variable names.
        const std::string inherited = "NGINX=" + std::to_string(plain_.Descriptor()) + ";" +
                                      std::to_string(tls_.Descriptor()) + ";";
        const char *arguments[] = {
            kProgram, "-e", "/tmp/nginx/error.log", "-c", "/tmp/nginx/nginx.conf", nullptr};
        const char *environment[] = {inherited.c_str(), nullptr};
        ASSERT_EQ(posix_spawn(&process_, kProgram, nullptr, nullptr, const_cast<char **>(arguments),
                              const_cast<char **>(environment)),
                  0);
    }

    Listener plain_;
    Listener tls_;
    pid_t process_ = 0;
};
CORVENNA_BOTH_TWINS(Nginx);

TEST_P(Nginx, ServesAGet) {
    auto frame = MemoryFrame(Url("/file"), "GET");
    EXPECT_EQ(client().get(&frame), 0);
    EXPECT_EQ(Received(), kContent);
    auto none = MemoryFrame(Url("/none"), "GET");
    EXPECT_EQ(client().get(&none), -1);
}

TEST_P(Nginx, TakesAPost) {
    auto frame = MemoryFrame(Url("/accepted"), "POST", std::string(kBodyCapacity, 'x'));
    Outcome outcome;
    EXPECT_EQ(client().exchange(&frame, outcome), 0);
    EXPECT_EQ(outcome.status, 200);
    EXPECT_EQ(Received(), "accepted");
}

TEST_P(Nginx, StoresAPutAndDeletesIt) {
    const std::string body("deflated\0or not", 15);
    auto frame = MemoryFrame(Url("/downfile/SN1"), "PUT", body);
    EXPECT_EQ(client().put(&frame), 0);
    EXPECT_EQ(ReadFile("/tmp/nginx/www/downfile/SN1"), body);
    auto again = MemoryFrame(Url("/downfile/SN1"), "DELETE");
    EXPECT_EQ(client().remove(&again), 0);
    EXPECT_TRUE(ListFolder("/tmp/nginx/www/downfile").empty());
    EXPECT_EQ(client().remove(&again), -1);
}

TEST_P(Nginx, TakesFileUploads) {
    WriteFile("/tmp/S.json", std::string(300000, 's'));
    auto frame = FileFrame(Url("/accepted"), "/tmp/S.json");
    frame.readCallback = ReadFromFile;
    frame.writeCallback = Collect;
    int httpCode = 0;
    EXPECT_EQ(client().realData(&frame, &httpCode), 0);
    EXPECT_EQ(httpCode, 200);
    EXPECT_EQ(client().alarmData(&frame), 0);
    auto waiting = FileFrame(Url("/waiting"), "/tmp/S.json");
    waiting.writeCallback = Collect;
    EXPECT_EQ(client().realData(&waiting, &httpCode), 0);
    EXPECT_EQ(httpCode, 426);
    EXPECT_EQ(client().alarmData(&waiting), -1);
}

TEST_P(Nginx, ServesADownloadAndItsRest) {
    auto frame = FileFrame(Url("/file"), "/tmp/whole");
    frame.writeCallback = WriteToFile;
    EXPECT_EQ(client().download(&frame), 0);
    EXPECT_EQ(ReadFile("/tmp/whole"), kContent);
    WriteFile("/tmp/part", std::string(kContent).substr(0, 10));
    auto rest = FileFrame(Url("/file"), "/tmp/part");
    rest.writeCallback = WriteToFile;
    EXPECT_EQ(client().download(&rest), 0);
    EXPECT_EQ(ReadFile("/tmp/part"), kContent);
}

}  // namespace
}  // namespace corvenna::test
