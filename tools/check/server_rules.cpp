#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>

#include "tools/check/plant_rules.h"

namespace corvenna::check {

namespace {

constexpr std::size_t kLongestUrl = 126;

constexpr const char *kModels[] = {"Varek-A",   "Varek-A-G", "Varek-B",
                                   "Varek-B-G", "Mosso",     "Mosso-G"};

/// Letters, digits and what else goes through a URL as it stands.
bool IsPlain(const std::string &text, const std::string &others) {
    return std::all_of(text.begin(), text.end(), [&others](unsigned char letter) {
        return (letter < 0x80 && std::isalnum(letter) != 0) ||
               others.find(static_cast<char>(letter)) != std::string::npos;
    });
}

void CheckAddress(const SettingsEntry &settings, Findings &findings) {
    if (settings.server.empty() || !IsPlain(settings.server, "-._[]:")) {
        findings.push_back({Severity::kError, "bad-server", settings.At("cloudip"),
                            "has cloudip \"" + settings.server + "\", which is no name or address",
                            "every URL is bad, and nothing arrives",
                            "write a name or an address alone, without scheme and path"});
    } else if (settings.server.front() != '[' && settings.server.find(':') != std::string::npos) {
        findings.push_back({Severity::kError, "bad-server", settings.At("cloudip"),
                            "has cloudip \"" + settings.server + "\" with a colon",
                            "the port is put behind it once more: every URL is bad",
                            "write the port as port, and an IPv6 address in brackets"});
    }
    if (settings.port == 0) {
        findings.push_back({Severity::kError, "bad-port", settings.At("port"), "has port 0",
                            "no server can be reached", "write a port from 1 to 65535"});
    }
}

void CheckPrefix(const SettingsEntry &settings, Findings &findings) {
    const std::string &prefix = settings.prefix;
    if (prefix.empty()) {
        return;
    }
    const auto tell = [&](Severity severity, const std::string &effect, const std::string &advice) {
        findings.push_back({severity, "bad-prefix", settings.At("Dir"),
                            "has Dir \"" + prefix + "\"", effect, advice});
    };
    const std::string begin = settings.server + ":" + std::to_string(settings.port) + prefix;
    if (prefix.front() != '/') {
        tell(Severity::kError, "URLs begin with " + begin + ", which have no port that is a number",
             "begin it with \"/\"");
    } else if (!IsPlain(prefix, "-._~/!$&'()*+,;=:@%")) {
        tell(Severity::kError, "it goes into URLs as it stands, and not all of it may stand there",
             "use letters, digits, \"-\", \".\", \"_\", \"~\" and \"/\"");
    } else if (prefix.back() == '/') {
        tell(Severity::kWarning, "paths begin with " + prefix + "/gateway, with two slashes",
             "do not end it with \"/\"");
    }
}

void CheckFormat(const SettingsEntry &settings, Findings &findings) {
    if (settings.format == "json" || settings.format == "xml") {
        return;
    }
    const bool isPrefix = settings.IsJson() || settings.IsXml();
    findings.push_back(
        {Severity::kError, "unknown-format", settings.At("FileType"),
         "has FileType \"" + settings.format + "\"",
         isPrefix
             ? "files are made, but their names do not have this word in them, so no real data "
               "is sent"
             : "no file is made and no request is sent",
         "write json or xml"});
}

bool IsPemFile(const std::string &path) {
    std::ifstream stream(path);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    return text.find("-----BEGIN ") != std::string::npos;
}

void CheckTls(const Plant &plant, Findings &findings) {
    const SettingsEntry &settings = *plant.settings;
    if (!settings.secure) {
        return;
    }
    const std::string &path = settings.certificate;
    if (path.empty() || !(IsPemFile(plant.root + path) || IsPemFile(path))) {
        findings.push_back({Severity::kWarning, "no-certificate", settings.securePlace,
                            "has certfile \"" + path + "\", which is no PEM file that can be read",
                            "TLS goes on without certificate authorities",
                            "name a PEM file that the host may read"});
    }
    findings.push_back({Severity::kWarning, "peers-not-verified", settings.securePlace,
                        "turns HTTPS on",
                        "the plug-in verifies no certificate: whoever answers at this address is "
                        "taken for the cloud, and is told user and password",
                        "see SECURITY.md; --accept peers-not-verified when that is known"});
}

void CheckUrl(const Plant &plant, Findings &findings) {
    const SettingsEntry &settings = *plant.settings;
    const std::string url = std::string(settings.secure ? "https" : "http") + "://" +
                            settings.server + ":" + std::to_string(settings.port) +
                            settings.prefix + "/alarmdata/" + plant.identity->serial;
    if (url.size() > kLongestUrl) {
        findings.push_back({Severity::kError, "url-too-long", settings.At("cloudip"),
                            "makes URLs of up to " + std::to_string(url.size()) + " bytes",
                            "they are cut to 126: " + url.substr(0, kLongestUrl),
                            "shorten cloudip, Dir or the serial number"});
    }
}

}  // namespace

void CheckServer(const Plant &plant, Findings &findings) {
    if (!plant.settings) {
        return;
    }
    CheckAddress(*plant.settings, findings);
    CheckPrefix(*plant.settings, findings);
    CheckFormat(*plant.settings, findings);
    CheckTls(plant, findings);
    if (plant.identity) {
        CheckUrl(plant, findings);
    }
}

void CheckIdentity(const IdentityEntry &identity, Findings &findings) {
    const std::string &serial = identity.serial;
    if (serial.empty()) {
        findings.push_back({Severity::kError, "no-serial", identity.serialPlace,
                            "has no serial number", kDoesNotStart, "write <sn sn=\"...\"/>"});
    } else if (serial == "." || serial == ".." || !IsPlain(serial, "-._~")) {
        findings.push_back({Severity::kError, "bad-serial", identity.serialPlace,
                            "has sn \"" + serial + "\"",
                            "it goes into URLs as it stands, and may not stand there",
                            "use letters, digits, \"-\", \".\", \"_\" and \"~\""});
    }
    if (!identity.model ||
        std::find(std::begin(kModels), std::end(kModels), *identity.model) == std::end(kModels)) {
        findings.push_back(
            {Severity::kWarning, "unknown-model", identity.modelPlace,
             identity.model ? "has model \"" + *identity.model + "\"" : "has no model",
             "it counts as Varek-A-G (1), and the serial number has two letters",
             "write Varek-A, Varek-A-G, Varek-B, Varek-B-G, Mosso or Mosso-G"});
    }
}

}  // namespace corvenna::check
