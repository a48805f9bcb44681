#include "tools/cloud/health/probes.h"

#include "tools/cloud/ground/refusal.h"
#include "tools/cloud/ground/say.h"
#include "tools/cloud/http/allowed_methods.h"

namespace corvenna::cloud {
namespace {

constexpr std::string_view kAlive = "/healthz";
constexpr std::string_view kReady = "/readyz";
constexpr const char *kText = "text/plain; charset=UTF-8";

void AnswerReady(const std::exception_ptr &failure, Response &response) {
    if (!failure) {
        response.SetContent("ready\n", kText);
        return;
    }
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception &error) {
        SayRarely(error.what());
        const Trouble trouble = AnswerTrouble(error, response);
        // A balancer takes the process out for any of them.
        SetError(response, 503, trouble.words);
    }
}

bool RefuseMethod(const Request &request, Response &response) {
    if (request.method == "GET" || request.method == "HEAD") {
        return false;
    }
    try {
        AllowedMethods allowed;
        allowed.Add("GET, HEAD");
        allowed.Refuse(request.method, response);
    } catch (const Refusal &refusal) {
        SetError(response, refusal.status, refusal.reason);
    }
    return true;
}

}  // namespace

bool IsProbe(const Request &request) {
    return request.path == kAlive || request.path == kReady;
}

void AnswerProbe(Store &store, Exchange &exchange, const Reply &reply) {
    exchange.trace.exchange = "probe";
    Response &response = exchange.response;
    response.SetHeader("Cache-Control", "no-store");
    if (RefuseMethod(exchange.request, response)) {
        reply();
    } else if (exchange.request.path == kAlive) {
        response.SetContent("alive\n", kText);
        reply();
    } else {
        store.Post(
            {}, [](Ledger &ledger) { ledger.Probe(); },
            [&response, reply](const std::exception_ptr &failure) {
                AnswerReady(failure, response);
                reply();
            });
    }
}

RequestFigures FiguresOf(const Exchange &exchange) {
    const TraceEntry &trace = exchange.trace;
    return {trace.exchange, trace.status, std::chrono::duration<double>(exchange.taken).count(),
            trace.requestBytes, trace.answerBytes};
}

Trouble AnswerTrouble(const std::exception &error, Response &response) {
    const Trouble trouble = TroubleOf(error);
    if (trouble.passes) {
        response.SetHeader("Retry-After", kRetryAfter);
    }
    return trouble;
}

}  // namespace corvenna::cloud
