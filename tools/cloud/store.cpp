#include "tools/cloud/store.h"

#include <openssl/rand.h>

#include <array>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <tuple>

#include "tools/cloud/durable_file.h"
#include "tools/cloud/text.h"

namespace corvenna::cloud {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kTokenBytes = 6;

/// The part of a file's address that nobody can guess.
std::string NewToken() {
    std::array<unsigned char, kTokenBytes> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        throw std::runtime_error("no random numbers");
    }
    return Hex(bytes.data(), bytes.size());
}

std::string PreparedFolder(const std::string &folder) {
    fs::create_directories(folder + "/files");
    return folder;
}

}  // namespace

Store::Store(const std::string &folder)
    : files_(PreparedFolder(folder) + "/files"), database_(OpenDatabase(folder + "/cloud.db")) {
    CreateTables();
    DeleteStrayFiles();
}

/// Contents whose line was never written, because the program was killed in between.
void Store::DeleteStrayFiles() {
    for (const auto &entry : fs::directory_iterator(files_)) {
        const std::string token = entry.path().filename().string();
        if (!Exists(database_, "SELECT 1 FROM files WHERE token = ?", token)) {
            fs::remove(entry.path());
        }
    }
}

std::int64_t Store::GatewayId(const std::string &sn) {
    Run(database_, "INSERT OR IGNORE INTO gateways(sn) VALUES(?)", sn);
    SQLite::Statement row = Query(database_, "SELECT id FROM gateways WHERE sn = ?", sn);
    row.executeStep();
    return row.getColumn(0).getInt64();
}

std::int64_t Store::NoteContact(const Contact &contact, const char *exchange) {
    const std::int64_t id = GatewayId(contact.sn);
    Run(database_,
        "UPDATE gateways SET last_contact = ?, last_exchange = ?, address = ?, scheme = ?"
        " WHERE id = ?",
        UtcNow(), exchange, contact.address, contact.scheme, id);
    return id;
}

void Store::RegisterGateway(const Contact &contact, const GatewayMessage &gateway) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t id = NoteContact(contact, "gateway");
    Run(database_,
        "UPDATE gateways SET registered = ?, name = ?, version = ?, site = ?, longitude = ?,"
        " latitude = ?, owner = ?, owner_description = ?, room = ?, room_description = ?,"
        " camera = ? WHERE id = ?",
        UtcNow(), gateway.name, gateway.version, gateway.site, gateway.longitude, gateway.latitude,
        gateway.owner, gateway.ownerDescription, gateway.room, gateway.roomDescription,
        gateway.camera, id);
    transaction.commit();
}

void Store::RegisterDevices(const Contact &contact, const std::vector<DeviceMessage> &devices) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t gateway = NoteContact(contact, "device");
    Run(database_, "DELETE FROM devices WHERE gateway = ?", gateway);
    SQLite::Statement insert(database_, "INSERT OR REPLACE INTO devices VALUES(?, ?, ?, ?, ?)");
    for (const DeviceMessage &device : devices) {
        Run(insert, gateway, device.channel, device.id, device.name, device.description);
    }
    transaction.commit();
}

std::int64_t Store::PointId(std::int64_t gateway, const Sample &sample) {
    SQLite::Statement row =
        Query(database_,
              "SELECT id, channel = ? AND device = ? AND name = ? AND unit = ? FROM points"
              " WHERE gateway = ? AND dblink = ?",
              sample.channel, sample.device, sample.name, sample.unit, gateway, sample.dblink);
    if (!row.executeStep()) {
        Run(database_,
            "INSERT INTO points(gateway, dblink, channel, device, name, unit)"
            " VALUES(?, ?, ?, ?, ?, ?)",
            gateway, sample.dblink, sample.channel, sample.device, sample.name, sample.unit);
        return database_.getLastInsertRowid();
    }
    const std::int64_t id = row.getColumn(0).getInt64();
    if (row.getColumn(1).getInt64() == 0) {
        Run(database_, "UPDATE points SET channel = ?, device = ?, name = ?, unit = ? WHERE id = ?",
            sample.channel, sample.device, sample.name, sample.unit, id);
    }
    return id;
}

Stored Store::StoreRealData(const Contact &contact, const RealDataMessage &message) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t gateway = NoteContact(contact, "realdata");
    SQLite::Statement insert(database_,
                             "INSERT OR IGNORE INTO samples(point, time, value, received)"
                             " VALUES(?, ?, ?, ?)");
    const std::string now = UtcNow();
    Stored stored;
    for (const Sample &sample : message.samples) {
        const std::int64_t point = PointId(gateway, sample);
        ++(Run(insert, point, message.time, sample.value, now) > 0 ? stored.fresh : stored.known);
    }
    transaction.commit();
    return stored;
}

Stored Store::StoreAlarms(const Contact &contact, const std::vector<AlarmMessage> &alarms) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t gateway = NoteContact(contact, "alarmdata");
    SQLite::Statement insert(
        database_,
        "INSERT OR IGNORE INTO alarms(gateway, time, channel, device, dblink, name, value,"
        " threshold, unit, type, flag, occurrence, received)"
        " VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    const std::string now = UtcNow();
    std::map<std::tuple<std::string, std::string, int, int, std::string, std::string>, int> seen;
    Stored stored;
    for (const AlarmMessage &alarm : alarms) {
        const int occurrence = seen[{alarm.time, alarm.dblink, alarm.type, alarm.flag, alarm.value,
                                     alarm.threshold}]++;
        ++(Run(insert, gateway, alarm.time, alarm.channel, alarm.device, alarm.dblink, alarm.name,
               alarm.value, alarm.threshold, alarm.unit, alarm.type, alarm.flag, occurrence,
               now) > 0
               ? stored.fresh
               : stored.known);
    }
    transaction.commit();
    return stored;
}

std::vector<TimeRange> Store::WaitingRecalls(const Contact &contact) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t gateway = NoteContact(contact, "calldata");
    std::vector<TimeRange> ranges;
    SQLite::Statement rows = Query(
        database_,
        "SELECT start, \"end\" FROM recalls WHERE gateway = ? AND finished IS NULL ORDER BY id",
        gateway);
    while (rows.executeStep()) {
        ranges.push_back({rows.getColumn(0).getString(), rows.getColumn(1).getString()});
    }
    Run(database_,
        "UPDATE recalls SET fetched = ? WHERE gateway = ? AND finished IS NULL AND fetched IS NULL",
        UtcNow(), gateway);
    transaction.commit();
    return ranges;
}

bool Store::FinishRecall(const Contact &contact, const TimeRange &range) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t gateway = NoteContact(contact, "calldata");
    const bool asked =
        Exists(database_, "SELECT 1 FROM recalls WHERE gateway = ? AND start = ? AND \"end\" = ?",
               gateway, range.start, range.end);
    Run(database_,
        "UPDATE recalls SET finished = ? WHERE gateway = ? AND start = ? AND \"end\" = ?"
        " AND finished IS NULL",
        UtcNow(), gateway, range.start, range.end);
    transaction.commit();
    return asked;
}

bool Store::FilesWait(const std::string &sn) {
    const std::lock_guard lock(mutex_);
    return Exists(database_,
                  "SELECT 1 FROM files f JOIN gateways g ON g.id = f.gateway"
                  " WHERE g.sn = ? AND f.finished IS NULL",
                  sn);
}

std::vector<OfferedFile> Store::OfferedFiles(const Contact &contact) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t gateway = NoteContact(contact, "downfile");
    std::vector<OfferedFile> files;
    SQLite::Statement rows =
        Query(database_,
              "SELECT 'files/' || token || '/' || name, md5, type, target FROM files"
              " WHERE gateway = ? AND finished IS NULL ORDER BY id",
              gateway);
    while (rows.executeStep()) {
        files.push_back({rows.getColumn(0).getString(), rows.getColumn(1).getString(),
                         rows.getColumn(2).getString(), rows.getColumn(3).getString()});
    }
    Run(database_,
        "UPDATE files SET listed = ? WHERE gateway = ? AND finished IS NULL AND listed IS NULL",
        UtcNow(), gateway);
    transaction.commit();
    return files;
}

bool Store::NoteFileStatus(const Contact &contact, const FileStatusMessage &status) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t gateway = NoteContact(contact, "downfile");
    const bool offered =
        Exists(database_, "SELECT 1 FROM files WHERE gateway = ? AND md5 = ?", gateway, status.md5);
    // Files of one digest are reported one after the other: each report goes to the first of them
    // that still waits for it.
    if (status.status == 1) {
        Run(database_,
            "UPDATE files SET state = 'begun', begun = ? WHERE id = (SELECT id FROM files"
            " WHERE gateway = ? AND md5 = ? AND state = 'offered' ORDER BY id LIMIT 1)",
            UtcNow(), gateway, status.md5);
    } else {
        Run(database_,
            "UPDATE files SET state = ?, finished = ? WHERE id = (SELECT id FROM files"
            " WHERE gateway = ? AND md5 = ? AND finished IS NULL ORDER BY id LIMIT 1)",
            status.status == 2 ? "done" : "damaged", UtcNow(), gateway, status.md5);
    }
    transaction.commit();
    return offered;
}

std::optional<FileContent> Store::FindFile(const std::string &token, const std::string &name) {
    const std::lock_guard lock(mutex_);
    SQLite::Statement row = Query(
        database_, "SELECT size FROM files WHERE token = ? AND name = ? AND state <> 'withdrawn'",
        token, name);
    if (!row.executeStep()) {
        return std::nullopt;
    }
    return FileContent{FilePath(token), row.getColumn(0).getInt64()};
}

bool Store::HasGateway(const std::string &sn) {
    const std::lock_guard lock(mutex_);
    return Exists(database_, "SELECT 1 FROM gateways WHERE sn = ?", sn);
}

std::pair<std::int64_t, bool> Store::AskForRecall(const std::string &sn, const TimeRange &range) {
    const std::lock_guard lock(mutex_);
    auto transaction = Begin(database_);
    const std::int64_t gateway = GatewayId(sn);
    const bool fresh = Run(database_,
                           "INSERT OR IGNORE INTO recalls(gateway, start, \"end\", asked)"
                           " VALUES(?, ?, ?, ?)",
                           gateway, range.start, range.end, UtcNow()) > 0;
    SQLite::Statement row =
        Query(database_,
              "SELECT id FROM recalls WHERE gateway = ? AND start = ? AND \"end\" = ?"
              " AND finished IS NULL",
              gateway, range.start, range.end);
    row.executeStep();
    const std::int64_t id = row.getColumn(0).getInt64();
    transaction.commit();
    return {id, fresh};
}

bool Store::CancelRecall(const std::string &sn, std::int64_t id) {
    const std::lock_guard lock(mutex_);
    return Run(database_,
               "DELETE FROM recalls WHERE id = ? AND finished IS NULL"
               " AND gateway = (SELECT id FROM gateways WHERE sn = ?)",
               id, sn) > 0;
}

std::int64_t Store::OfferFile(const std::string &sn, const NewFile &file) {
    const std::string token = NewToken();
    const std::lock_guard lock(mutex_);
    WriteDurably(FilePath(token), file.content, 0600);
    auto transaction = Begin(database_);
    const std::int64_t gateway = GatewayId(sn);
    Run(database_,
        "INSERT INTO files(gateway, token, name, md5, type, target, size, state, offered)"
        " VALUES(?, ?, ?, ?, ?, ?, ?, 'offered', ?)",
        gateway, token, file.name, file.md5, file.type, file.target,
        static_cast<std::int64_t>(file.content.size()), UtcNow());
    const std::int64_t id = database_.getLastInsertRowid();
    transaction.commit();
    return id;
}

bool Store::WithdrawFile(const std::string &sn, std::int64_t id) {
    const std::lock_guard lock(mutex_);
    SQLite::Statement row = Query(database_,
                                  "SELECT token FROM files WHERE id = ? AND state <> 'withdrawn'"
                                  " AND gateway = (SELECT id FROM gateways WHERE sn = ?)",
                                  id, sn);
    if (!row.executeStep()) {
        return false;
    }
    const std::string path = FilePath(row.getColumn(0).getString());
    Run(database_,
        "UPDATE files SET state = CASE WHEN finished IS NULL THEN 'withdrawn' ELSE state END,"
        " finished = coalesce(finished, ?) WHERE id = ?",
        UtcNow(), id);
    fs::remove(path);
    return true;
}

bool Store::ForgetGateway(const std::string &sn) {
    const std::lock_guard lock(mutex_);
    const bool known = Run(database_, "DELETE FROM gateways WHERE sn = ?", sn) > 0;
    DeleteStrayFiles();
    return known;
}

}  // namespace corvenna::cloud
