#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/cloud/messages.h"
#include "tools/common/database.h"

namespace corvenna::cloud {

/// Who talked to the server, and from where.
struct Contact {
    std::string sn;
    std::string address;
    std::string scheme;
};

/// What became of a document's entries.
struct Stored {
    int fresh = 0;  ///< entries that were not there before
    int known = 0;  ///< entries that an earlier document had brought already
};

/// A file as it is offered to a gateway.
struct OfferedFile {
    std::string file, md5, type, path;
};

struct FileContent {
    std::string path;  ///< on this machine
    std::int64_t size;
};

struct NewFile {
    std::string name, md5, target;
    int type;
    std::string content;
};

/// Everything that must outlive the program, in a folder of its own: an SQLite database and the
/// offered files. Any thread may call; a call has its effect on disk when it returns. Failures of
/// the storage throw std::runtime_error.
class Store {
public:
    explicit Store(const std::string &folder);

    // The gateways' side. Every call notes the contact.

    void RegisterGateway(const Contact &contact, const GatewayMessage &gateway);
    void RegisterDevices(const Contact &contact, const std::vector<DeviceMessage> &devices);
    /// A sample is known by gateway, data id and time; the first one stays.
    Stored StoreRealData(const Contact &contact, const RealDataMessage &message);
    /// Equal alarms of one document are different events; a document that comes again brings none.
    Stored StoreAlarms(const Contact &contact, const std::vector<AlarmMessage> &alarms);
    std::vector<TimeRange> WaitingRecalls(const Contact &contact);
    /// @return false when no such range was ever asked for. Being told again changes nothing.
    bool FinishRecall(const Contact &contact, const TimeRange &range);
    /// Whether a file's last status (0 or 2) is still to come.
    bool FilesWait(const std::string &sn);
    std::vector<OfferedFile> OfferedFiles(const Contact &contact);
    /// @return false when the gateway was never offered a file of that digest.
    bool NoteFileStatus(const Contact &contact, const FileStatusMessage &status);
    std::optional<FileContent> FindFile(const std::string &token, const std::string &name);

    // The administrator's side.

    /// Visits the rows of a query with its values bound.
    template <class... Values>
    void Select(const std::function<void(SQLite::Statement &)> &visit, const char *sql,
                const Values &...values) {
        const std::lock_guard lock(mutex_);
        SQLite::Statement statement = Query(database_, sql, values...);
        visit(statement);
    }

    bool HasGateway(const std::string &sn);
    /// @return the recall's number and whether it is new; a range that already waits stays one.
    std::pair<std::int64_t, bool> AskForRecall(const std::string &sn, const TimeRange &range);
    bool CancelRecall(const std::string &sn, std::int64_t id);
    std::int64_t OfferFile(const std::string &sn, const NewFile &file);
    /// Takes the file back; its content is deleted, its line stays unless it was still waiting.
    bool WithdrawFile(const std::string &sn, std::int64_t id);
    /// Forgets a gateway and all that belongs to it.
    bool ForgetGateway(const std::string &sn);

private:
    void CreateTables();
    void DeleteStrayFiles();
    std::int64_t GatewayId(const std::string &sn);
    std::int64_t NoteContact(const Contact &contact, const char *exchange);
    std::int64_t PointId(std::int64_t gateway, const Sample &sample);
    std::string FilePath(const std::string &token) const { return files_ + "/" + token; }

    std::mutex mutex_;
    std::string files_;
    SQLite::Database database_;
};

}  // namespace corvenna::cloud
