#include "tools/check/check.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "tools/check/document_rules.h"
#include "tools/check/plant_rules.h"

namespace corvenna::check {

namespace {

constexpr std::size_t kVersionBytes = 99;

constexpr const char *kStaysOff = "all settings are empty: the cloud service is off";

/// A file without which there is no configuration.
const XmlFile &NeedFile(const XmlFile &file, const char *otherRoot, Findings &findings) {
    if (file.Root() == nullptr) {
        const bool wrongRoot = file.Rule() == "wrong-root";
        findings.push_back({Severity::kError,
                            file.Rule(),
                            {file.Path(), file.ProblemLine(), ""},
                            file.Problem(),
                            wrongRoot ? otherRoot : kDoesNotStart,
                            "see docs/formats.md, or begin with a copy of an example"});
    }
    return file;
}

void CheckVersion(const std::string &path, Findings &findings) {
    const auto tell = [&](const char *rule, long line, std::string what, const char *effect,
                          const char *advice) {
        findings.push_back(
            {Severity::kWarning, rule, {path, line, ""}, std::move(what), effect, advice});
    };
    std::ifstream stream(path);
    std::string line;
    if (!std::getline(stream, line)) {
        tell("no-version", 0, "is missing or empty", "servers are told no version",
             "write the version of the gateway's software on its first line");
        return;
    }
    if (line.rfind("\xEF\xBB\xBF", 0) == 0) {
        tell("byte-order-mark", 1, "begins with a byte order mark", "servers are told it, too",
             "save the file without one");
    }
    if (line.size() > kVersionBytes) {
        tell("text-cut", 1, "has " + std::to_string(line.size()) + " bytes on its first line",
             "it is cut to 99", "use at most 99 bytes");
    } else if (line.size() < kVersionBytes && !stream.eof()) {
        tell("version-line-end", 1, "has an end of its first line", "servers are told it, too",
             "end the file with the version's last character, as printf does: printf 2.4.1 > FILE");
    }
}

void CheckSystem(Checked &checked) {
    const std::string folder = checked.plant.root + "/quorvane/Config";
    const XmlFile file(folder + "/sys.xml", "sysConfig");
    if (NeedFile(file, kStaysOff, checked.findings).Root() != nullptr) {
        CheckDocument(file, SystemVocabulary(), checked.findings);
        checked.plant.settings = ReadSettings(file);
        if (!checked.plant.settings) {
            checked.findings.push_back({Severity::kError,
                                        "no-cloud",
                                        {file.Path(), 0, ""},
                                        "has no element <cloud>",
                                        kStaysOff,
                                        "write <cloud checked=\"1\" .../>"});
        } else if (checked.plant.settings->attributes.count("checked") == 0) {
            checked.findings.push_back(
                {Severity::kError, "service-off", checked.plant.settings->place, "has no checked",
                 "the cloud service is off", "write checked=\"1\", or \"0\" where that is meant"});
        }
    }
    CheckVersion(folder + "/version/main-version.conf", checked.findings);
}

void CheckSerial(Checked &checked) {
    const XmlFile file(checked.plant.root + "/quorvane/Config/system/sn.xml", "snConfig");
    if (NeedFile(file, kDoesNotStart, checked.findings).Root() != nullptr) {
        CheckDocument(file, IdentityVocabulary(), checked.findings);
        checked.plant.identity = ReadIdentity(file);
        CheckIdentity(*checked.plant.identity, checked.findings);
    }
}

void ReadForwardTables(Checked &checked) {
    const XmlFile file(checked.plant.root + "/quorvane/Config/forward_config.xml", "Fwd_srv");
    if (NeedFile(file, kDoesNotStart, checked.findings).Root() != nullptr) {
        CheckDocument(file, ForwardVocabulary(), checked.findings);
        CheckProtocols(file, checked.findings);
        checked.plant.forwarding = ReadForwarding(file);
    }
}

/// Each point file is looked at once, however many devices have it.
std::vector<PointEntry> CheckPoints(const DeviceEntry &device, const std::string &root,
                                    std::set<std::string> &looked, Findings &findings) {
    const XmlFile file(root + device.pointFile, "DevConfig");
    std::vector<PointEntry> points;
    std::string rule = "no-points";
    std::string problem = file.Problem();
    if (file.Rule() == "byte-order-mark") {
        rule = file.Rule();
    }
    if (file.Root() != nullptr) {
        if (looked.insert(device.pointFile).second) {
            CheckDocument(file, PointVocabulary(), findings);
        }
        points = ReadPoints(file, device);
        problem = "holds no point";
    }
    if (points.empty()) {
        findings.push_back({Severity::kWarning, rule, device.place,
                            "has no points: " + file.Path() + " " + problem,
                            "it is neither announced nor written",
                            "write a point file at the path of Name"});
    }
    return points;
}

void CheckTemplate(Checked &checked) {
    const XmlFile file(checked.plant.root + "/quorvane/Config/Channel-template.xml",
                       "ChannelConfig");
    if (NeedFile(file, kDoesNotStart, checked.findings).Root() == nullptr) {
        return;
    }
    CheckDocument(file, TemplateVocabulary(), checked.findings);
    checked.plant.devices = ReadDevices(file);
    std::set<std::string> looked;
    for (const DeviceEntry &device : checked.plant.devices) {
        checked.plant.points.push_back(
            CheckPoints(device, checked.plant.root, looked, checked.findings));
    }
}

/// File by file, in the order in which they are first met, and then by lines.
void Sort(Findings &findings) {
    std::map<std::string, std::size_t> order;
    for (const Finding &finding : findings) {
        order.emplace(finding.place.file, order.size());
    }
    std::stable_sort(findings.begin(), findings.end(),
                     [&](const Finding &one, const Finding &other) {
                         return std::pair(order[one.place.file], one.place.line) <
                                std::pair(order[other.place.file], other.place.line);
                     });
}

}  // namespace

Checked Check(const std::string &root) {
    Checked checked;
    checked.plant.root = root;
    CheckSystem(checked);
    CheckSerial(checked);
    ReadForwardTables(checked);
    CheckTemplate(checked);
    CheckServer(checked.plant, checked.findings);
    CheckDevices(checked.plant, checked.findings);
    CheckForwarding(checked.plant, checked.findings);
    CheckSizes(checked.plant, checked.findings);
    Sort(checked.findings);
    return checked;
}

}  // namespace corvenna::check
