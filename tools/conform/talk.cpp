#include "tools/conform/talk.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "http/headers.h"
#include "tools/conform/documents.h"

namespace corvenna::conform {
namespace {

std::string Answered(const Reply &reply) {
    return "it was answered " + std::to_string(reply.status);
}

}  // namespace

Talk::Talk(const CloudQuestion &question, Way way, Judgements &found)
    : question_(question), way_(way), found_(found), client_(question.server) {}

std::string Talk::Path(const char *step) const {
    return std::string("/") + step + "/" + question_.serial;
}

Reply Talk::Ask(const Request &request) {
    Reply reply = client_.Send(request);
    const std::string name = request.method + " " + request.path;
    Judge("answered", reply.Arrived(), name + ": " + reply.failure);
    if (reply.Arrived()) {
        Judge("http-version", reply.http11, name + " was answered by another version");
        Judge("no-redirect", reply.status < 300 || reply.status > 399,
              name + " was answered " + std::to_string(reply.status));
    }
    return reply;
}

Reply Talk::Send(const char *method, const std::string &path, const std::string &document,
                 bool withPassword) {
    return Ask({method, path, way_.deflated ? DeflatedDocument(document) : document,
                BodyHeaders(way_.Word(), way_.deflated), withPassword, true});
}

Reply Talk::Upload(const std::string &path, const std::string &document) {
    return UploadBytes(path, way_.deflated ? DeflatedDocument(document) : document);
}

Reply Talk::UploadBytes(const std::string &path, const std::string &bytes) {
    // The plug-in knows by the name of a file whether it is deflated.
    const std::string file = std::string("S.") + way_.Word() + (way_.deflated ? "z" : "");
    const bool timed = path == Path("realdata");
    return Ask({"POST", path, bytes,
                timed ? TimedUploadHeaders(way_.Word(), file.c_str())
                      : UploadHeaders(way_.Word(), file.c_str()),
                false, true});
}

Reply Talk::Get(const std::string &path) {
    return Ask({"GET", path, "", AcceptHeaders(way_.Word(), false), false, true});
}

Reply Talk::Fetch(const std::string &path) {
    return Ask({"GET", path, "", {}, false, false});
}

void Talk::Judge(const char *id, bool kept, const std::string &foundThat) {
    found_.Judge(id, kept, foundThat);
}

void Talk::Judge(const char *id, const Reply &reply, bool kept) {
    if (reply.Arrived()) {
        Judge(id, kept, Answered(reply));
    } else {
        Explain(id, reply.failure);
    }
}

void Talk::Explain(const char *id, const std::string &reason) {
    found_.Explain(id, reason);
}

void Talk::Expect(const char *id, const Reply &reply, bool (*good)(long status)) {
    Judge(id, reply, good(reply.status));
}

void Talk::ExpectNot(const char *id, const Reply &reply, bool (*good)(long status)) {
    Judge(id, reply, !good(reply.status));
}

void RunCommand(const std::string &command, const std::string &serial) {
    if (setenv("CORVENNA_SERIAL", serial.c_str(), 1) != 0) {
        throw std::runtime_error(std::strerror(errno));
    }
    // Standard output is the report's.
    if (std::system(("{ " + command + "\n} >&2").c_str()) != 0) {
        throw std::runtime_error("the command failed: " + command);
    }
}

}  // namespace corvenna::conform
