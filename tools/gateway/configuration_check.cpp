#include "tools/gateway/configuration_check.h"

#include <strings.h>

#include "tools/check/check.h"

namespace corvenna::gateway {

namespace {

using check::Finding;
using check::Severity;

/// The service can be off for it: a file as a whole, or what was meant to be <cloud>.
bool MakesUnusable(const Finding &finding) {
    const bool isOfFile = finding.place.element.empty();
    const bool isOtherCase = finding.rule.rfind("other-case-", 0) == 0;
    return (isOfFile && finding.severity == Severity::kError) || finding.rule == "no-serial" ||
           (isOtherCase && strcasecmp(finding.place.element.c_str(), "<cloud>") == 0);
}

bool LeavesWithoutPoints(const Finding &finding) {
    return !finding.place.element.empty() &&
           (finding.rule == "no-points" || finding.rule == "byte-order-mark");
}

std::string Told(const Finding &finding) {
    return check::Headline(finding) + "; " + finding.effect;
}

/// A problem of a whole file tells its line itself, if it has one.
std::string ToldOfFile(const Finding &finding) {
    return finding.place.element.empty() ? finding.place.file + " " + finding.what : Told(finding);
}

void Add(const Finding &finding, ConfigurationFindings &findings) {
    if (LeavesWithoutPoints(finding)) {
        findings.withoutPoints.push_back(finding.place.element + " " + finding.what);
    } else if (MakesUnusable(finding)) {
        findings.unusable.push_back(ToldOfFile(finding));
    } else if (finding.severity == Severity::kError) {
        findings.errors.push_back(Told(finding));
    } else {
        findings.warnings.push_back(Told(finding));
    }
}

}  // namespace

ConfigurationFindings CheckConfiguration(const std::string &root) {
    ConfigurationFindings findings;
    const check::Checked checked = check::Check(root);
    findings.devices = checked.plant.devices.size();
    for (const Finding &finding : checked.findings) {
        Add(finding, findings);
    }
    return findings;
}

}  // namespace corvenna::gateway
