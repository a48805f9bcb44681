#include "tools/conform/documents.h"
#include "tools/conform/talk.h"

namespace corvenna::conform {
namespace {

constexpr const char *kGatewayPath = "/gateway";

void TryPassword(Talk &talk) {
    const Server &server = talk.Question().server;
    if (!server.https || server.user.empty()) {
        talk.Explain("gateway-password", "only over HTTPS, with --user");
        talk.Explain("gateway-cookie", "only over HTTPS, with --user");
        return;
    }
    CloudQuestion wrong = talk.Question();
    wrong.server.password += "?";
    // Somebody else: nothing of its cookies and findings is this gateway's.
    Judgements unused("", CloudClauses());
    Talk stranger(wrong, talk.Its(), unused);
    const std::string document = GatewayDocument(talk.Its().format, talk.Question().serial);
    talk.ExpectNot("gateway-password", stranger.Send("POST", kGatewayPath, document, true),
                   IsTaken);
}

void TryGateway(Talk &talk) {
    const Format format = talk.Its().format;
    const std::string document = GatewayDocument(format, talk.Question().serial);
    const Reply first = talk.Send("POST", kGatewayPath, document, true);
    talk.Expect("gateway-taken", first, IsTaken);
    if (talk.Question().server.https && !talk.Question().server.user.empty()) {
        talk.Judge("gateway-cookie", first.cookieSet, "none was set");
    }
    talk.ExpectNot("gateway-damaged", talk.Send("POST", kGatewayPath, Half(document), true),
                   IsTaken);
    const std::string lettered = LetteredGatewayDocument(format, talk.Question().serial);
    talk.Expect("gateway-letters", talk.Send("POST", kGatewayPath, lettered, true), IsTaken);
    talk.Expect("gateway-again", talk.Send("POST", kGatewayPath, document, true), IsTaken);
    talk.ExpectNot("unknown-method", talk.Send("PUT", kGatewayPath, document, true),
                   IsTakenWithHint);
    talk.ExpectNot("unknown-path", talk.Send("POST", talk.Path("nothing"), document, true),
                   IsTakenWithHint);
}

void TryDevices(Talk &talk) {
    const Format format = talk.Its().format;
    const std::string path = talk.Path("device");
    const std::string document = GoldenOf(format).devices;
    talk.Expect("devices-none", talk.Send("POST", path, NoDevicesDocument(format), true), IsTaken);
    talk.Expect("devices-longest", talk.Send("POST", path, LongestDevicesDocument(format), true),
                IsTaken);
    talk.ExpectNot("devices-damaged", talk.Send("POST", path, Half(document), true), IsTaken);
    talk.Expect("devices-taken", talk.Send("POST", path, document, true), IsTaken);
}

}  // namespace

void TryRegistration(Talk &talk) {
    TryPassword(talk);
    TryGateway(talk);
    TryDevices(talk);
}

}  // namespace corvenna::conform
