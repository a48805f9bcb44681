#include "tools/conform/documents.h"
#include "tools/conform/talk.h"

namespace corvenna::conform {
namespace {

void TryRealData(Talk &talk) {
    const Format format = talk.Its().format;
    const std::string path = talk.Path("realdata");
    const std::string document = GoldenOf(format).realData;
    talk.Expect("real-taken", talk.Upload(path, document), IsTakenWithHint);
    talk.Expect("real-again", talk.Upload(path, document), IsTakenWithHint);
    talk.Expect("real-no-value", talk.Upload(path, ValuelessDocument(format)), IsTakenWithHint);
    talk.Expect("real-long", talk.Upload(path, LongRealDataDocument(format)), IsTakenWithHint);
    talk.ExpectNot("real-damaged", talk.Upload(path, Half(document)), IsTakenWithHint);
    if (talk.Its().deflated) {
        talk.ExpectNot("deflate-damaged", talk.UploadBytes(path, Half(DeflatedDocument(document))),
                       IsTakenWithHint);
    } else {
        talk.Explain("deflate-damaged", "bodies are plain here");
    }
}

void TryAlarms(Talk &talk) {
    const Format format = talk.Its().format;
    const std::string path = talk.Path("alarmdata");
    const std::string document = GoldenOf(format).alarmData;
    talk.Expect("alarms-taken", talk.Upload(path, document), IsTaken);
    talk.Expect("alarms-again", talk.Upload(path, document), IsTaken);
    talk.Expect("alarms-none", talk.Upload(path, NoAlarmsDocument(format)), IsTaken);
    talk.ExpectNot("alarms-damaged", talk.Upload(path, Half(document)), IsTaken);
}

}  // namespace

void TryUploads(Talk &talk) {
    TryRealData(talk);
    TryAlarms(talk);
}

}  // namespace corvenna::conform
