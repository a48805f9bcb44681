#include "tools/conform/clause.h"

namespace corvenna::conform {
namespace {

constexpr const char *kProtocol = "formats/protocol.md";
constexpr const char *kGateway = "formats/gateway.md";
constexpr const char *kDevices = "formats/devices.md";
constexpr const char *kUploads = "formats/uploads.md";
constexpr const char *kRecalls = "formats/recalls.md";
constexpr const char *kDownloads = "formats/downloads.md";

}  // namespace

const Clauses &CloudClauses() {
    static const Clauses clauses = {
        {"answered", "every exchange", "There is a whole answer, in time", kProtocol},
        {"http-version", "every exchange", "The answer is one of HTTP/1.1", kProtocol},
        {"no-redirect", "every exchange", "No answer sends elsewhere (3xx)", kProtocol},
        {"unknown-path", "POST /nothing/SN", "Not answered 200, 201 or 426", kProtocol},
        {"unknown-method", "PUT /gateway", "Not answered 200, 201 or 426", kProtocol},

        {"gateway-taken", "POST /gateway", "Answered 200 or 201", kGateway},
        {"gateway-again", "POST /gateway", "So is the same gateway another time", kGateway},
        {"gateway-letters", "POST /gateway",
         "So are letters beyond ASCII, quotes and tags in texts", kGateway},
        {"gateway-damaged", "POST /gateway", "Half a document is not answered 200 or 201",
         kGateway},
        {"gateway-password", "POST /gateway", "With a wrong password not answered 200 or 201",
         kProtocol},
        {"gateway-cookie", "POST /gateway", "With the right one a cookie is set", kProtocol},

        {"devices-taken", "POST /device/SN", "Answered 200 or 201", kDevices},
        {"devices-none", "POST /device/SN", "So is a list of no device", kDevices},
        {"devices-longest", "POST /device/SN", "So is the longest list, of 20,478 bytes", kDevices},
        {"devices-damaged", "POST /device/SN", "Half a document is not answered 200 or 201",
         kDevices},

        {"real-taken", "POST /realdata/SN", "Answered 200, 201 or 426", kUploads},
        {"real-again", "POST /realdata/SN", "So is the same file another time", kUploads},
        {"real-no-value", "POST /realdata/SN", "So is a point without a value, -1.000", kUploads},
        {"real-long", "POST /realdata/SN", "So is a file of 300,000 bytes", kUploads},
        {"real-damaged", "POST /realdata/SN", "Half a document is not answered 200, 201 or 426",
         kUploads},
        {"deflate-damaged", "POST /realdata/SN",
         "Half a deflated stream is not answered 200, 201 or 426", kProtocol},

        {"alarms-taken", "POST /alarmdata/SN", "Answered 200 or 201", kUploads},
        {"alarms-again", "POST /alarmdata/SN", "So is the same file another time", kUploads},
        {"alarms-none", "POST /alarmdata/SN", "So is a file of no alarm", kUploads},
        {"alarms-damaged", "POST /alarmdata/SN", "Half a document is not answered 200 or 201",
         kUploads},

        {"recalls-status", "GET /calldata/SN", "Answered 200, over HTTP also 201", kRecalls},
        {"recalls-one-piece", "GET /calldata/SN",
         "The answer comes in one piece: not chunked, with its head at most 1,460 bytes",
         kProtocol},
        {"recalls-readable", "GET /calldata/SN",
         "The gateway's own parser reads the answer, in the format of Accept", kRecalls},
        {"recall-listed", "GET /calldata/SN", "What is to be recalled is listed", kRecalls},
        {"recall-times", "GET /calldata/SN",
         "Times are written YYYY-MM-DD hh:mm:ss, the first not after the last", kRecalls},
        {"recall-stays", "GET /calldata/SN", "A range is listed until it is acknowledged",
         kRecalls},
        {"recall-done-damaged", "DELETE /calldata/SN", "Half a document is not answered 204",
         kRecalls},
        {"recall-other", "DELETE /calldata/SN", "Another range that is acknowledged ends none",
         kRecalls},
        {"recall-done", "DELETE /calldata/SN", "Answered 204", kRecalls},
        {"recall-done-again", "DELETE /calldata/SN", "So is the same range another time", kRecalls},
        {"recall-gone", "GET /calldata/SN", "What was acknowledged is listed no more", kRecalls},

        {"files-one-piece", "GET /downfile/SN",
         "The answer comes in one piece: not chunked, with its head at most 1,460 bytes",
         kProtocol},
        {"files-readable", "GET /downfile/SN",
         "The gateway's own parser reads the answer, in the format of Accept", kDownloads},
        {"files-no-hint", "POST /realdata/SN", "Not answered 426 while no file is listed",
         kUploads},
        {"files-listed", "GET /downfile/SN", "What is offered is listed", kDownloads},
        {"files-hint", "POST /realdata/SN", "Answered 426 while a file is listed", kUploads},
        {"files-no-alarm-hint", "POST /alarmdata/SN", "Not answered 426 even then", kUploads},
        {"file-digest", "GET /downfile/SN", "md5 is 32 small hexadecimal digits", kDownloads},
        {"file-type", "GET /downfile/SN", "type is 0, 1 or 9", kDownloads},
        {"file-words", "GET /downfile/SN",
         "file has no / in front; what becomes a word of a command is a plain one", kDownloads},
        {"file-begun", "PUT /downfile/SN", "Status 1 is answered 200 or 201", kDownloads},
        {"file-content", "GET /FILE", "The file has the listed MD5 sum", kDownloads},
        {"file-status-damaged", "PUT /downfile/SN", "Half a document is not answered 200 or 201",
         kDownloads},
        {"file-done", "PUT /downfile/SN", "Status 2 is answered 200 or 201", kDownloads},
        {"file-ended", "GET /downfile/SN", "What is done is listed no more", kDownloads},
        {"file-failed", "PUT /downfile/SN", "Status 0 is answered 200 or 201", kDownloads},
    };
    return clauses;
}

}  // namespace corvenna::conform
