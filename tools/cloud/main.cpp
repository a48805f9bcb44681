#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "base/json.h"
#include "tools/cloud/cloud.h"
#include "tools/cloud/ground/say.h"
#include "tools/cloud/options.h"
#include "tools/cloud/ready_file.h"
#include "tools/common/stop_signals.h"

namespace corvenna::cloud {
namespace {

namespace fs = std::filesystem;

bool IsLoopback(const std::string &address) {
    return address.compare(0, 4, "127.") == 0 || address == "::1" || address == "localhost";
}

std::string ReadyLine(const Options &options, const Addresses &addresses, const Ports &ports) {
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
    port("http", ports.http);
    port("https", ports.https);
    port("admin", ports.admin);
    text("prefix", options.gateways.prefix);
    text("page", addresses.admin + "/");
    text("data", fs::absolute(options.data).string());
    writer.Key("pid");
    writer.Int(getpid());
    writer.EndObject();
    return buffer.GetString();
}

void SayWhere(const Options &options, const Addresses &addresses, bool adminOpen) {
    std::string gateways = "gateways at";
    for (const std::string &url : {addresses.http, addresses.https}) {
        gateways += url.empty() ? "" : " " + url + options.gateways.prefix;
    }
    Say(gateways);
    Say("page and API at " + addresses.admin + "/");
    if (IsLoopback(options.address)) {
        Say("reachable from this machine only; --address 0.0.0.0 lets other machines in");
    }
    if (!IsLoopback(options.adminAddress) && adminOpen) {
        Say("whoever reaches page and API may do everything; --admin-token-file and --admin-users"
            " ask for a secret");
    }
    if (!IsLoopback(options.adminAddress) && !adminOpen && !options.adminTls) {
        Say("token and passwords of page and API cross the network as they are; --admin-tls hides"
            " them");
    }
}

/// Large blocks go back to the system when they are freed, and threads share what is free: the
/// memory that large documents take is needed once, not once for each thread.
void BoundMemory() {
    constexpr int kLargeBlock = 1 << 18;
    constexpr int kArenas = 2;
    // Another allocator than the C library's, a sanitizer's for instance, knows neither and serves
    // as well, only not as sparingly.
    static_cast<void>(mallopt(M_MMAP_THRESHOLD, kLargeBlock));
    static_cast<void>(mallopt(M_ARENA_MAX, kArenas));
}

void Serve(const Options &options) {
    BoundMemory();
    const StopSignals signals;
    const FolderLock lock = LockFolder(options.data);
    ReadyFile readyFile(options.readyFile);
    Cloud cloud(options);
    cloud.Start();

    SayWhere(options, cloud.Where(), !cloud.AsksForSecret());
    const std::string line = ReadyLine(options, cloud.Where(), cloud.TakenPorts());
    readyFile.Write(line);
    std::cout << line << std::endl;
    signals.Wait();
    Say("stopping");
    cloud.Stop();
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
        Say(error.what());
        return 1;
    }
}
