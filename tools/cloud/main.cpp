#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "base/json.h"
#include "tools/cloud/admin_site.h"
#include "tools/cloud/gateway_site.h"

namespace corvenna::cloud {
namespace {

namespace fs = std::filesystem;

/// SIGINT and SIGTERM wait for whoever asks; must be made before any other thread.
class StopSignals {
public:
    StopSignals() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGINT);
        sigaddset(&signals_, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
        static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    }
    void Wait() const {
        int signal = 0;
        sigwait(&signals_, &signal);
    }

private:
    sigset_t signals_{};
};

/// Keeps a second server from using the same data folder. Held until the process ends.
void LockFolder(const std::string &folder) {
    const std::string path = folder + "/lock";
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0 || flock(fd, LOCK_EX | LOCK_NB) != 0) {
        throw std::runtime_error("another server uses " + folder + ", or it cannot be written");
    }
}

std::string Url(const char *scheme, const std::string &address, int port) {
    const bool v6 = address.find(':') != std::string::npos;
    return std::string(scheme) + "://" + (v6 ? "[" + address + "]" : address) + ":" +
           std::to_string(port);
}

bool IsLoopback(const std::string &address) {
    return address.compare(0, 4, "127.") == 0 || address == "::1" || address == "localhost";
}

std::string ReadyLine(const Options &options, const Addresses &addresses, int http, int https,
                      int admin) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    const auto text = [&writer](const char *name, const std::string &value) {
        writer.Key(name);
        writer.String(value.c_str());
    };
    const auto port = [&writer](const char *name, int value) {
        if (value != 0) {
            writer.Key(name);
            writer.Int(value);
        }
    };
    writer.StartObject();
    writer.Key("ready");
    writer.Bool(true);
    text("address", options.address);
    port("http", http);
    port("https", https);
    port("admin", admin);
    text("prefix", options.prefix);
    text("page", addresses.admin + "/");
    text("data", fs::absolute(options.data).string());
    writer.Key("pid");
    writer.Int(getpid());
    writer.EndObject();
    return buffer.GetString();
}

/// A reader never sees half a line.
void WriteReadyFile(const std::string &path, const std::string &line) {
    const std::string temporary = path + ".new";
    std::ofstream(temporary) << line << '\n';
    fs::rename(temporary, path);
}

void SayWhere(const Options &options, const Addresses &addresses) {
    std::cerr << "corvenna-cloud: gateways at";
    for (const std::string &url : {addresses.http, addresses.https}) {
        if (!url.empty()) {
            std::cerr << ' ' << url << options.prefix;
        }
    }
    std::cerr << "\ncorvenna-cloud: page and API at " << addresses.admin << "/\n";
    if (IsLoopback(options.address)) {
        std::cerr << "corvenna-cloud: reachable from this machine only; --address 0.0.0.0 lets "
                     "other machines in\n";
    }
    if (!IsLoopback(options.adminAddress)) {
        std::cerr << "corvenna-cloud: whoever reaches page and API may do everything\n";
    }
}

void Serve(const Options &options) {
    const StopSignals signals;
    fs::create_directories(options.data);
    fs::permissions(options.data, fs::perms::owner_all);
    LockFolder(options.data);

    Store store(options.data);
    FaultMenu faults;
    for (const Fault &fault : options.faults) {
        faults.Add(fault);
    }
    Trace trace;
    Addresses addresses;
    std::unique_ptr<TlsContexts> tls;
    if (options.https) {
        CertificateFiles files{options.certificate, options.key};
        if (files.certificate.empty()) {
            files = {options.data + "/certificate.pem", options.data + "/key.pem"};
            MakeCertificateIfMissing(files, options.address);
        }
        tls = std::make_unique<TlsContexts>(files);
    }
    GatewaySite gatewaySite(options, store, faults, trace);
    AdminSite adminSite(options, addresses, store, faults, trace);
    HttpServer http(gatewaySite, nullptr);
    HttpServer https(gatewaySite, tls.get());
    HttpServer admin(adminSite, nullptr);

    int httpPort = 0;
    int httpsPort = 0;
    if (options.http) {
        httpPort = http.Bind(options.address, *options.http);
        addresses.http = Url("http", options.address, httpPort);
    }
    if (options.https) {
        httpsPort = https.Bind(options.address, *options.https);
        addresses.https = Url("https", options.address, httpsPort);
    }
    const int adminPort = admin.Bind(options.adminAddress, options.admin);
    addresses.admin = Url("http", options.adminAddress, adminPort);
    if (options.http) {
        http.Start();
    }
    if (options.https) {
        https.Start();
    }
    admin.Start();

    SayWhere(options, addresses);
    const std::string line = ReadyLine(options, addresses, httpPort, httpsPort, adminPort);
    std::cout << line << std::endl;
    if (!options.readyFile.empty()) {
        WriteReadyFile(options.readyFile, line);
    }
    signals.Wait();
    std::cerr << "corvenna-cloud: stopping\n";
}

}  // namespace
}  // namespace corvenna::cloud

int main(int argc, char **argv) {
    using namespace corvenna::cloud;
    int exitCode = 0;
    const auto options = ReadOptions(argc, argv, exitCode);
    if (!options) {
        return exitCode;
    }
    if (options->listRoutes) {
        std::cout << AdminSite::Routes();
        return 0;
    }
    try {
        Serve(*options);
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "corvenna-cloud: " << error.what() << '\n';
        return 1;
    }
}
