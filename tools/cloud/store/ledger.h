#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "tools/cloud/document/messages.h"
#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/catalogue.h"
#include "tools/cloud/store/statements.h"
#include "tools/cloud/store/writer.h"

namespace corvenna::cloud {

/// Who talked to the server, from where and when.
struct Contact {
    std::string sn;
    std::string address;
    std::string scheme;
    std::int64_t received = 0;  ///< milliseconds since 1970
    std::int64_t sent = 0;      ///< seconds since 1970, by the gateway's clock if it told
};

/// What became of a document's entries.
struct Stored {
    int fresh = 0;           ///< entries that were not there before
    int known = 0;           ///< entries that an earlier document had brought already
    bool filesWait = false;  ///< whether a file's last status (0 or 2) is still to come
};

/// A file as it is offered to a gateway.
struct OfferedFile {
    std::string file, md5, type, path;
};

struct NewFile {
    std::string name, md5, target;
    int type;
    std::string content;
};

/// How long things are kept, in days; 0: for ever. A time of day that jumps makes nothing old.
struct Keeping {
    int samples = 0;
    int alarms = 0;
    int trace = 0;
};

/// Everything that changes the database. Used by the writer's thread alone, within a transaction.
/// Failures of the storage throw std::runtime_error.
class Ledger {
public:
    Ledger(Connection &connection, const Keeping &keeping)
        : statements_(connection), catalogue_(statements_), keeping_(keeping) {}

    /// Before the transaction in which a job runs begins: has the place for its document made,
    /// unless this run has seen it before.
    void Prepare(const Subject &about);

    /// Asks the database whether it does its work: it reads, and when something was undone since
    /// the last time, it writes too.
    void Probe();

    // The gateways' side. Every call notes the contact. What brings data makes a gateway known,
    // what only asks does not.

    void RegisterGateway(const Contact &contact, const GatewayMessage &gateway);
    void RegisterDevices(const Contact &contact, const std::vector<DeviceMessage> &devices);
    /// A sample is known by gateway, data id and time; the first one stays.
    Stored StoreRealData(const Contact &contact, const RealDataMessage &message);
    /// Equal alarms of one document are different events; a document that comes again brings none.
    Stored StoreAlarms(const Contact &contact, const AlarmMessages &alarms);
    std::vector<TimeRange> WaitingRecalls(const Contact &contact);
    /// @return false when no such range was ever asked for. Being told again changes nothing.
    bool FinishRecall(const Contact &contact, const TimeRange &range);
    std::vector<OfferedFile> OfferedFiles(const Contact &contact);
    /// @return false when the gateway was never offered a file of that digest.
    bool NoteFileStatus(const Contact &contact, const FileStatusMessage &status);

    // The administrator's side.

    /// @return the recall's number and whether it is new; a range that already waits stays one.
    std::pair<std::int64_t, bool> AskForRecall(const std::string &sn, const TimeRange &range);
    bool CancelRecall(const std::string &sn, std::int64_t id);
    /// @param token under which the content is in the folder of files already.
    std::int64_t OfferFile(const std::string &sn, const NewFile &file, const std::string &token);
    /// Takes the file back; its line stays unless it was still waiting.
    /// @return the token of its content, empty when there is no such file.
    std::string WithdrawFile(const std::string &sn, std::int64_t id);
    /// Forgets a gateway; what belongs to it goes with the chores.
    /// @return whether there was one; `tokens` receives those of its files.
    bool ForgetGateway(const std::string &sn, std::vector<std::string> &tokens);

    /// Deletes a slice of what belongs to nobody or is too old. @return whether there is more.
    bool DoChore();

    /// A transaction was undone.
    void ForgetMemory() {
        catalogue_.Clear();
        weeks_.clear();
        undone_ = true;
    }

private:
    struct KnownDocument {
        int again;
        std::int64_t sent, layout;
    };
    /// What is there before a document is stored.
    struct Known {
        bool filesWait = false;
        std::vector<KnownDocument> documents;
    };

    void Note(const Contact &contact, std::int64_t gateway, const char *exchange);
    Known LookUp(std::int64_t gateway, std::int64_t time);
    int OccurrenceOf(const KnownGateway &gateway, const Contact &contact, std::int64_t time,
                     const std::vector<KnownDocument> &documents);
    void AddDocument(KnownGateway &gateway, const Contact &contact, std::int64_t time, int again,
                     const std::vector<std::int64_t> &points, const std::string &values);
    void NoteNewest(KnownGateway &gateway, KnownLayout &layout, std::int64_t time);
    std::unordered_set<std::int64_t> KnownPoints(const std::vector<KnownDocument> &documents,
                                                 int again);
    bool WasRecalled(const KnownGateway &gateway, std::int64_t time);
    void NoteAlarmState(std::int64_t gateway, std::int64_t number, const AlarmMessage &alarm);
    bool PurgeForgotten();
    bool PurgeOldSamples();
    bool PurgeOldAlarms();
    std::int64_t NowForAges() const;

    Statements statements_;
    Catalogue catalogue_;
    Keeping keeping_;
    std::int64_t opened_ = NowMilliseconds();  ///< by the time of day
    std::chrono::steady_clock::time_point running_ = std::chrono::steady_clock::now();
    std::unordered_set<std::int64_t> weeks_;  ///< that have a place for documents
    bool undone_ = false;
    std::uint64_t documents_ = 0;  ///< counts the documents of this run
};

}  // namespace corvenna::cloud
