#include <algorithm>

#include "tools/conform/documents.h"
#include "tools/conform/lists.h"
#include "tools/conform/pieces.h"
#include "tools/conform/talk.h"

namespace corvenna::conform {
namespace {

// What nobody recalls: a second of 2001.
constexpr recall_time_para kOther{1000000000, 1000000001};

bool IsRecallStatus(const Talk &talk, long status) {
    return status == 200 || (status == 201 && !talk.Question().server.https);
}

/// Asks for the list and judges the answer.
List<Range> Recalls(Talk &talk) {
    const Reply reply = talk.Get(talk.Path("calldata"));
    List<Range> list;
    talk.Judge("recalls-status", reply, IsRecallStatus(talk, reply.status));
    JudgePieces(talk, "recalls-one-piece", reply);
    if (!reply.Arrived() || !IsRecallStatus(talk, reply.status)) {
        list.problem = "there is no list";
        talk.Explain("recalls-readable", list.problem);
        return list;
    }
    list = ReadRecalls(talk.Its().format, reply.body);
    talk.Judge("recalls-readable", list.problem.empty(), list.problem);
    for (const Range &range : list.entries) {
        // A time of another writing is read as another one.
        const bool written = reply.body.find(range.start) != std::string::npos &&
                             reply.body.find(range.end) != std::string::npos;
        talk.Judge("recall-times", written && range.times.start <= range.times.end,
                   "the gateway reads " + range.start + " to " + range.end);
    }
    return list;
}

bool Holds(const List<Range> &list, const recall_time_para &range) {
    return std::any_of(list.entries.begin(), list.entries.end(), [&](const Range &one) {
        return one.times.start == range.start && one.times.end == range.end;
    });
}

Reply Acknowledge(Talk &talk, const recall_time_para &range) {
    return talk.Send("DELETE", talk.Path("calldata"), RecallDoneDocument(talk.Its().format, range));
}

/// Whether a range is listed still, whatever else is said that does not acknowledge it.
bool Stays(Talk &talk, const recall_time_para &range) {
    const bool stays = Holds(Recalls(talk), range);
    talk.Judge("recall-stays", stays, "it is gone after it was listed once");
    if (!stays) {
        return false;
    }
    const std::string document = RecallDoneDocument(talk.Its().format, range);
    talk.ExpectNot("recall-done-damaged",
                   talk.Send("DELETE", talk.Path("calldata"), Half(document)), IsDone);
    static_cast<void>(Acknowledge(talk, kOther));
    const bool meant = Holds(Recalls(talk), range);
    talk.Judge("recall-other", meant, "the range that was not meant is gone");
    return meant;
}

/// A range that is listed is served.
void TryRange(Talk &talk, const recall_time_para &range) {
    if (!Stays(talk, range)) {
        return;
    }
    const Reply done = Acknowledge(talk, range);
    talk.Expect("recall-done", done, IsDone);
    if (!done.Arrived() || !IsDone(done.status)) {
        return;
    }
    talk.Judge("recall-gone", !Holds(Recalls(talk), range), "it is listed again");
    talk.Expect("recall-done-again", Acknowledge(talk, range), IsDone);
}

}  // namespace

void TryRecalls(Talk &talk) {
    const std::string &command = talk.Question().recallCommand;
    if (!command.empty()) {
        RunCommand(command, talk.Question().serial);
    }
    const List<Range> list = Recalls(talk);
    if (!list.problem.empty()) {
        return;
    }
    if (!command.empty()) {
        talk.Judge("recall-listed", !list.entries.empty(), "nothing is listed");
    }
    if (!list.entries.empty()) {
        talk.Judge("recall-listed", true, "");
        TryRange(talk, list.entries.front().times);
        return;
    }
    for (const char *id : {"recall-listed", "recall-times", "recall-stays", "recall-done-damaged",
                           "recall-other", "recall-done", "recall-done-again", "recall-gone"}) {
        talk.Explain(id, "no range is listed; --recall-command has the cloud recall one");
    }
}

}  // namespace corvenna::conform
