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
    : files_(PreparedFolder(folder) + "/files"), database_(folder + "/cloud.db") {
    CreateTables();
    DeleteStrayFiles();
}

/// Contents whose line was never written, because the program was killed in between.
void Store::DeleteStrayFiles() {
    for (const auto &entry : fs::directory_iterator(files_)) {
        const std::string token = entry.path().filename().string();
        if (!database_.Query("SELECT 1 FROM files WHERE token = ?", token).Step()) {
            fs::remove(entry.path());
        }
    }
}

std::int64_t Store::GatewayId(const std::string &sn) {
    database_.Run("INSERT OR IGNORE INTO gateways(sn) VALUES(?)", sn);
    Statement row = database_.Query("SELECT id FROM gateways WHERE sn = ?", sn);
    row.Step();
    return row.Number(0);
}

std::int64_t Store::NoteContact(const Contact &contact, const char *exchange) {
    const std::int64_t id = GatewayId(contact.sn);
    database_.Run(
        "UPDATE gateways SET last_contact = ?, last_exchange = ?, address = ?, scheme = ?"
        " WHERE id = ?",
        UtcNow(), exchange, contact.address, contact.scheme, id);
    return id;
}

void Store::RegisterGateway(const Contact &contact, const GatewayMessage &gateway) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    const std::int64_t id = NoteContact(contact, "gateway");
    database_.Run(
        "UPDATE gateways SET registered = ?, name = ?, version = ?, site = ?, longitude = ?,"
        " latitude = ?, owner = ?, owner_description = ?, room = ?, room_description = ?,"
        " camera = ? WHERE id = ?",
        UtcNow(), gateway.name, gateway.version, gateway.site, gateway.longitude, gateway.latitude,
        gateway.owner, gateway.ownerDescription, gateway.room, gateway.roomDescription,
        gateway.camera, id);
    transaction.Commit();
}

void Store::RegisterDevices(const Contact &contact, const std::vector<DeviceMessage> &devices) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    const std::int64_t gateway = NoteContact(contact, "device");
    database_.Run("DELETE FROM devices WHERE gateway = ?", gateway);
    Statement insert = database_.Prepare("INSERT OR REPLACE INTO devices VALUES(?, ?, ?, ?, ?)");
    for (const DeviceMessage &device : devices) {
        insert.Bind(gateway, device.channel, device.id, device.name, device.description).Run();
    }
    transaction.Commit();
}

std::int64_t Store::PointId(std::int64_t gateway, const Sample &sample) {
    Statement row = database_.Query(
        "SELECT id, channel = ? AND device = ? AND name = ? AND unit = ? FROM points"
        " WHERE gateway = ? AND dblink = ?",
        sample.channel, sample.device, sample.name, sample.unit, gateway, sample.dblink);
    if (!row.Step()) {
        database_.Run(
            "INSERT INTO points(gateway, dblink, channel, device, name, unit)"
            " VALUES(?, ?, ?, ?, ?, ?)",
            gateway, sample.dblink, sample.channel, sample.device, sample.name, sample.unit);
        return database_.LastId();
    }
    const std::int64_t id = row.Number(0);
    if (row.Number(1) == 0) {
        database_.Run("UPDATE points SET channel = ?, device = ?, name = ?, unit = ? WHERE id = ?",
                      sample.channel, sample.device, sample.name, sample.unit, id);
    }
    return id;
}

Stored Store::StoreRealData(const Contact &contact, const RealDataMessage &message) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    const std::int64_t gateway = NoteContact(contact, "realdata");
    Statement insert = database_.Prepare(
        "INSERT OR IGNORE INTO samples(point, time, value, received)"
        " VALUES(?, ?, ?, ?)");
    const std::string now = UtcNow();
    Stored stored;
    for (const Sample &sample : message.samples) {
        const std::int64_t point = PointId(gateway, sample);
        insert.Bind(point, message.time, sample.value, now).Run();
        ++(database_.Changes() > 0 ? stored.fresh : stored.known);
    }
    transaction.Commit();
    return stored;
}

Stored Store::StoreAlarms(const Contact &contact, const std::vector<AlarmMessage> &alarms) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    const std::int64_t gateway = NoteContact(contact, "alarmdata");
    Statement insert = database_.Prepare(
        "INSERT OR IGNORE INTO alarms(gateway, time, channel, device, dblink, name, value,"
        " threshold, unit, type, flag, occurrence, received)"
        " VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    const std::string now = UtcNow();
    std::map<std::tuple<std::string, std::string, int, int, std::string, std::string>, int> seen;
    Stored stored;
    for (const AlarmMessage &alarm : alarms) {
        const int occurrence = seen[{alarm.time, alarm.dblink, alarm.type, alarm.flag, alarm.value,
                                     alarm.threshold}]++;
        insert
            .Bind(gateway, alarm.time, alarm.channel, alarm.device, alarm.dblink, alarm.name,
                  alarm.value, alarm.threshold, alarm.unit, alarm.type, alarm.flag, occurrence, now)
            .Run();
        ++(database_.Changes() > 0 ? stored.fresh : stored.known);
    }
    transaction.Commit();
    return stored;
}

std::vector<TimeRange> Store::WaitingRecalls(const Contact &contact) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    const std::int64_t gateway = NoteContact(contact, "calldata");
    std::vector<TimeRange> ranges;
    Statement rows = database_.Query(
        "SELECT start, \"end\" FROM recalls WHERE gateway = ? AND finished IS NULL ORDER BY id",
        gateway);
    while (rows.Step()) {
        ranges.push_back({rows.Text(0), rows.Text(1)});
    }
    database_.Run(
        "UPDATE recalls SET fetched = ? WHERE gateway = ? AND finished IS NULL AND fetched IS NULL",
        UtcNow(), gateway);
    transaction.Commit();
    return ranges;
}

bool Store::FinishRecall(const Contact &contact, const TimeRange &range) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    const std::int64_t gateway = NoteContact(contact, "calldata");
    const bool asked =
        database_
            .Query("SELECT 1 FROM recalls WHERE gateway = ? AND start = ? AND \"end\" = ?", gateway,
                   range.start, range.end)
            .Step();
    database_.Run(
        "UPDATE recalls SET finished = ? WHERE gateway = ? AND start = ? AND \"end\" = ?"
        " AND finished IS NULL",
        UtcNow(), gateway, range.start, range.end);
    transaction.Commit();
    return asked;
}

bool Store::FilesWait(const std::string &sn) {
    const std::lock_guard lock(mutex_);
    return database_
        .Query(
            "SELECT 1 FROM files f JOIN gateways g ON g.id = f.gateway"
            " WHERE g.sn = ? AND f.finished IS NULL",
            sn)
        .Step();
}

std::vector<OfferedFile> Store::OfferedFiles(const Contact &contact) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    const std::int64_t gateway = NoteContact(contact, "downfile");
    std::vector<OfferedFile> files;
    Statement rows = database_.Query(
        "SELECT 'files/' || token || '/' || name, md5, type, target FROM files"
        " WHERE gateway = ? AND finished IS NULL ORDER BY id",
        gateway);
    while (rows.Step()) {
        files.push_back({rows.Text(0), rows.Text(1), rows.Text(2), rows.Text(3)});
    }
    database_.Run(
        "UPDATE files SET listed = ? WHERE gateway = ? AND finished IS NULL AND listed IS NULL",
        UtcNow(), gateway);
    transaction.Commit();
    return files;
}

bool Store::NoteFileStatus(const Contact &contact, const FileStatusMessage &status) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    const std::int64_t gateway = NoteContact(contact, "downfile");
    const bool offered =
        database_.Query("SELECT 1 FROM files WHERE gateway = ? AND md5 = ?", gateway, status.md5)
            .Step();
    // Files of one digest are reported one after the other: each report goes to the first of them
    // that still waits for it.
    if (status.status == 1) {
        database_.Run(
            "UPDATE files SET state = 'begun', begun = ? WHERE id = (SELECT id FROM files"
            " WHERE gateway = ? AND md5 = ? AND state = 'offered' ORDER BY id LIMIT 1)",
            UtcNow(), gateway, status.md5);
    } else {
        database_.Run(
            "UPDATE files SET state = ?, finished = ? WHERE id = (SELECT id FROM files"
            " WHERE gateway = ? AND md5 = ? AND finished IS NULL ORDER BY id LIMIT 1)",
            status.status == 2 ? "done" : "damaged", UtcNow(), gateway, status.md5);
    }
    transaction.Commit();
    return offered;
}

std::optional<FileContent> Store::FindFile(const std::string &token, const std::string &name) {
    const std::lock_guard lock(mutex_);
    Statement row = database_.Query(
        "SELECT size FROM files WHERE token = ? AND name = ? AND state <> 'withdrawn'", token,
        name);
    if (!row.Step()) {
        return std::nullopt;
    }
    return FileContent{FilePath(token), row.Number(0)};
}

bool Store::HasGateway(const std::string &sn) {
    const std::lock_guard lock(mutex_);
    return database_.Query("SELECT 1 FROM gateways WHERE sn = ?", sn).Step();
}

std::pair<std::int64_t, bool> Store::AskForRecall(const std::string &sn, const TimeRange &range) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_);
    const std::int64_t gateway = GatewayId(sn);
    const bool fresh = database_.Run(
                           "INSERT OR IGNORE INTO recalls(gateway, start, \"end\", asked)"
                           " VALUES(?, ?, ?, ?)",
                           gateway, range.start, range.end, UtcNow()) > 0;
    Statement row = database_.Query(
        "SELECT id FROM recalls WHERE gateway = ? AND start = ? AND \"end\" = ?"
        " AND finished IS NULL",
        gateway, range.start, range.end);
    row.Step();
    const std::int64_t id = row.Number(0);
    transaction.Commit();
    return {id, fresh};
}

bool Store::CancelRecall(const std::string &sn, std::int64_t id) {
    const std::lock_guard lock(mutex_);
    return database_.Run(
               "DELETE FROM recalls WHERE id = ? AND finished IS NULL"
               " AND gateway = (SELECT id FROM gateways WHERE sn = ?)",
               id, sn) > 0;
}

std::int64_t Store::OfferFile(const std::string &sn, const NewFile &file) {
    const std::string token = NewToken();
    const std::lock_guard lock(mutex_);
    WriteDurably(FilePath(token), file.content, 0600);
    Transaction transaction(database_);
    const std::int64_t gateway = GatewayId(sn);
    database_.Run(
        "INSERT INTO files(gateway, token, name, md5, type, target, size, state, offered)"
        " VALUES(?, ?, ?, ?, ?, ?, ?, 'offered', ?)",
        gateway, token, file.name, file.md5, file.type, file.target,
        static_cast<std::int64_t>(file.content.size()), UtcNow());
    const std::int64_t id = database_.LastId();
    transaction.Commit();
    return id;
}

bool Store::WithdrawFile(const std::string &sn, std::int64_t id) {
    const std::lock_guard lock(mutex_);
    Statement row = database_.Query(
        "SELECT token FROM files WHERE id = ? AND state <> 'withdrawn'"
        " AND gateway = (SELECT id FROM gateways WHERE sn = ?)",
        id, sn);
    if (!row.Step()) {
        return false;
    }
    const std::string path = FilePath(row.Text(0));
    database_.Run(
        "UPDATE files SET state = CASE WHEN finished IS NULL THEN 'withdrawn' ELSE state END,"
        " finished = coalesce(finished, ?) WHERE id = ?",
        UtcNow(), id);
    fs::remove(path);
    return true;
}

bool Store::ForgetGateway(const std::string &sn) {
    const std::lock_guard lock(mutex_);
    const bool known = database_.Run("DELETE FROM gateways WHERE sn = ?", sn) > 0;
    DeleteStrayFiles();
    return known;
}

}  // namespace corvenna::cloud
