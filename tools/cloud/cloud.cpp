#include "tools/cloud/cloud.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <filesystem>
#include <string>

#include "tools/cloud/descriptors.h"
#include "tools/cloud/ground/say.h"

namespace corvenna::cloud {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kGatewayWorkers = 3;
constexpr std::size_t kAdminWorkers = 2;  // of their own: long lists hold up no gateway
constexpr std::size_t kGatewayBodies = 256U << 20U;
constexpr std::size_t kOtherDescriptors = 256;  // listeners, the database, files on their way
constexpr std::size_t kLargestAtOnce = 3;       // bodies of the largest size in memory

std::string Url(const char *scheme, const std::string &address, int port) {
    const bool v6 = address.find(':') != std::string::npos;
    return std::string(scheme) + "://" + (v6 ? "[" + address + "]" : address) + ":" +
           std::to_string(port);
}

std::unique_ptr<TlsContexts> MakeTls(const Options &options) {
    if (!options.https && !options.adminTls) {
        return nullptr;
    }
    CertificateFiles files{options.certificate, options.key};
    if (files.certificate.empty()) {
        files = {options.data + "/certificate.pem", options.data + "/key.pem"};
        MakeCertificateIfMissing(files, options.address);
    }
    return std::make_unique<TlsContexts>(files);
}

/// As many connections as there can be descriptors for, but no more than wanted.
Limits PossibleLimits(const Limits &wanted) {
    Limits limits = wanted;
    const std::size_t possible = RaiseDescriptorLimit(wanted.connections + kOtherDescriptors);
    if (possible < wanted.connections + kOtherDescriptors) {
        limits.connections = possible - std::min(possible - 1, kOtherDescriptors);
        Say("the system allows " + std::to_string(possible) + " open files: not more than " +
            std::to_string(limits.connections) + " connections are taken");
    }
    return limits;
}

bool IsDatabaseAddress(const std::string &store) {
    return store.rfind("postgresql://", 0) == 0 || store.rfind("postgres://", 0) == 0;
}

std::unique_ptr<Engine> MakeEngine(const Options &options) {
    if (IsDatabaseAddress(options.store)) {
        return MakePostgresEngine(options.store, options.storeTime);
    }
    return MakeSqliteEngine(options.store.empty() ? options.data : options.store);
}

/// A folder of its own for what is kept is one process's, as the data folder is.
std::optional<FolderLock> LockStore(const Options &options) {
    if (options.store.empty() || IsDatabaseAddress(options.store)) {
        return std::nullopt;
    }
    std::error_code absent;
    if (fs::equivalent(options.store, options.data, absent)) {
        return std::nullopt;
    }
    return LockFolder(options.store);
}

/// "host:1234": which of the processes that share a store this is.
std::string ProcessName() {
    std::array<char, HOST_NAME_MAX + 1> host{};
    if (gethostname(host.data(), host.size() - 1) != 0) {
        host.front() = '?';
    }
    return std::string(host.data()) + ":" + std::to_string(getpid());
}

}  // namespace

FolderLock LockFolder(const std::string &folder) {
    if (fs::create_directories(folder)) {
        fs::permissions(folder, fs::perms::owner_all);
    }
    return FolderLock(folder, "server");
}

Cloud::Cloud(const Options &options)
    : options_(options),
      storeLock_(LockStore(options)),
      store_(MakeEngine(options), options.data, options.keeping, metrics_),
      faults_(store_.OpenFaultMenu()),
      trace_(options.keeping.trace, ProcessName()),
      tls_(MakeTls(options)),
      gatewaySite_(options.gateways, store_, *faults_, trace_, metrics_),
      adminSite_(options.administrator, addresses_, store_, *faults_, trace_, metrics_),
      gatewayWorkers_(kGatewayWorkers),
      adminWorkers_(kAdminWorkers),
      gatewayBodies_(std::max(kGatewayBodies, kLargestAtOnce * options.gateways.maxBody)),
      adminBodies_(kLargestAtOnce * options.administrator.maxFile),
      server_(PossibleLimits(options.limits)) {
    for (const Fault &fault : options.faults) {
        faults_->AddAtStart(fault);
    }
    ListenForGateways();
    ListenForAdministrators();
}

void Cloud::ListenForGateways() {
    addresses_.prefix = options_.gateways.prefix;
    if (options_.http) {
        ports_.http = server_.Listen({gatewaySite_, gatewayWorkers_, gatewayBodies_},
                                     options_.address, *options_.http);
        addresses_.http = Url("http", options_.address, ports_.http);
    }
    if (options_.https) {
        ports_.https = server_.Listen({gatewaySite_, gatewayWorkers_, gatewayBodies_, tls_.get()},
                                      options_.address, *options_.https);
        addresses_.https = Url("https", options_.address, ports_.https);
    }
}

void Cloud::ListenForAdministrators() {
    const TlsContexts *tls = options_.adminTls ? tls_.get() : nullptr;
    ports_.admin = server_.Listen({adminSite_, adminWorkers_, adminBodies_, tls},
                                  options_.adminAddress, options_.admin);
    addresses_.admin = Url(tls == nullptr ? "http" : "https", options_.adminAddress, ports_.admin);
}

void Cloud::Stop() {
    store_.EndWaitsBy(std::chrono::steady_clock::now() + kGrace);
    server_.Stop();
    store_.Finish();  // its answers need the server, though nobody waits for them
}

}  // namespace corvenna::cloud
