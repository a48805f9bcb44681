#include <algorithm>
#include <cstring>

#include "tools/conform/documents.h"
#include "tools/conform/lists.h"
#include "tools/conform/pieces.h"
#include "tools/conform/talk.h"

namespace corvenna::conform {
namespace {

enum Status { kFailed = 0, kBegun = 1, kDone = 2 };

List<down_file_para> Files(Talk &talk) {
    const Reply reply = talk.Get(talk.Path("downfile"));
    JudgePieces(talk, "files-one-piece", reply);
    if (!reply.Arrived()) {
        talk.Explain("files-readable", reply.failure);
        return {};
    }
    List<down_file_para> list = ReadFiles(talk.Its().format, reply.body);
    talk.Judge("files-readable", list.problem.empty(), list.problem);
    return list;
}

bool Holds(const List<down_file_para> &list, const down_file_para &file) {
    return std::any_of(list.entries.begin(), list.entries.end(), [&](const down_file_para &one) {
        return std::strcmp(one.md5, file.md5) == 0;
    });
}

Reply UploadValues(Talk &talk) {
    return talk.Upload(talk.Path("realdata"), GoldenOf(talk.Its().format).realData);
}

Reply Report(Talk &talk, const down_file_para &file, int status) {
    return talk.Send("PUT", talk.Path("downfile"),
                     StatusDocument(talk.Its().format, file.md5, status));
}

bool IsDigest(const char *text) {
    return std::strlen(text) == 32 && std::strspn(text, "0123456789abcdef") == 32;
}

void JudgeEntry(Talk &talk, const down_file_para &file) {
    talk.Judge("file-digest", IsDigest(file.md5), std::string("it is ") + file.md5);
    talk.Judge("file-type", file.type == 0 || file.type == 1 || file.type == 9,
               "it is " + std::to_string(file.type));
    talk.Judge("file-words", HasPlainWords(file),
               std::string("file is ") + file.file + ", path is " + file.path);
}

void TryHints(Talk &talk) {
    const Reply values = UploadValues(talk);
    talk.Judge("files-hint", values, values.status == 426);
    const Reply alarms = talk.Upload(talk.Path("alarmdata"), GoldenOf(talk.Its().format).alarmData);
    talk.Judge("files-no-alarm-hint", alarms, alarms.status != 426);
}

/// A file that is listed is fetched, as the gateway's download does it.
void TryFile(Talk &talk, const down_file_para &file) {
    talk.Expect("file-begun", Report(talk, file, kBegun), IsTaken);
    const Reply content = talk.Fetch(std::string("/") + file.file);
    if (content.Arrived() && IsDigest(file.md5)) {
        talk.Judge("file-content", Md5(content.body) == file.md5,
                   "what came has the sum " + Md5(content.body));
    }
    const std::string document = StatusDocument(talk.Its().format, file.md5, kDone);
    talk.ExpectNot("file-status-damaged", talk.Send("PUT", talk.Path("downfile"), Half(document)),
                   IsTaken);
    const Reply done = Report(talk, file, kDone);
    talk.Expect("file-done", done, IsTaken);
    if (done.Arrived() && IsTaken(done.status)) {
        talk.Judge("file-ended", !Holds(Files(talk), file), "it is listed again");
    }
}

/// The same file once more, and this time it comes damaged.
void TryFailure(Talk &talk) {
    RunCommand(talk.Question().offerCommand, talk.Question().serial);
    const List<down_file_para> list = Files(talk);
    if (!list.entries.empty()) {
        talk.Expect("file-failed", Report(talk, list.entries.front(), kFailed), IsTaken);
    }
}

void ExplainNoFile(Talk &talk) {
    for (const char *id : {"files-listed", "files-hint", "files-no-alarm-hint", "file-digest",
                           "file-type", "file-words", "file-begun", "file-content",
                           "file-status-damaged", "file-done", "file-ended", "file-failed"}) {
        talk.Explain(id, "no file is listed; --offer-command has the cloud offer one");
    }
}

}  // namespace

void TryDownloads(Talk &talk) {
    List<down_file_para> list = Files(talk);
    if (list.problem.empty() && list.entries.empty()) {
        const Reply reply = UploadValues(talk);
        talk.Judge("files-no-hint", reply, reply.status != 426);
    } else {
        talk.Explain("files-no-hint", "a file is listed from the beginning");
    }
    const bool offers = !talk.Question().offerCommand.empty();
    if (offers) {
        RunCommand(talk.Question().offerCommand, talk.Question().serial);
        list = Files(talk);
    }
    if (!list.problem.empty()) {
        return;
    }
    if (list.entries.empty()) {
        if (offers) {
            talk.Judge("files-listed", false, "nothing is listed");
        }
        ExplainNoFile(talk);
        return;
    }
    talk.Judge("files-listed", true, "");
    TryHints(talk);
    for (const down_file_para &file : list.entries) {
        JudgeEntry(talk, file);
    }
    TryFile(talk, list.entries.front());
    if (offers) {
        TryFailure(talk);
    } else {
        talk.Explain("file-failed", "one file is listed at most; --offer-command offers another");
    }
}

}  // namespace corvenna::conform
