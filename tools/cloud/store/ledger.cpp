#include "tools/cloud/store/ledger.h"

#include <map>
#include <tuple>

#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {

void Ledger::Probe() {
    statements_.Exists("SELECT 1 FROM gateways LIMIT 1");
    if (undone_) {
        constexpr int kNobody = 0;
        statements_.Run("INSERT INTO forgotten(gateway) VALUES(?)", kNobody);
        statements_.Run("DELETE FROM forgotten WHERE gateway = ?", kNobody);
        undone_ = false;  // unless this transaction is undone as well
    }
}

void Ledger::Note(const Contact &contact, std::int64_t gateway, const char *exchange) {
    statements_.RunLater(
        "UPDATE gateways SET last_contact = ?, last_exchange = ?, address = ?, scheme = ?"
        " WHERE id = ?",
        UtcText(contact.received), exchange, contact.address, contact.scheme, gateway);
}

void Ledger::RegisterGateway(const Contact &contact, const GatewayMessage &gateway) {
    const std::int64_t id = catalogue_.FindOrAdd(contact.sn).id;
    Note(contact, id, "gateway");
    statements_.RunLater(
        "UPDATE gateways SET registered = ?, name = ?, version = ?, site = ?, longitude = ?,"
        " latitude = ?, owner = ?, owner_description = ?, room = ?, room_description = ?,"
        " camera = ? WHERE id = ?",
        UtcText(contact.received), gateway.name, gateway.version, gateway.site, gateway.longitude,
        gateway.latitude, gateway.owner, gateway.ownerDescription, gateway.room,
        gateway.roomDescription, gateway.camera, id);
}

void Ledger::RegisterDevices(const Contact &contact, const std::vector<DeviceMessage> &devices) {
    const std::int64_t gateway = catalogue_.FindOrAdd(contact.sn).id;
    Note(contact, gateway, "device");
    statements_.RunLater("DELETE FROM devices WHERE gateway = ?", gateway);
    for (const DeviceMessage &device : devices) {
        statements_.RunLater(
            "INSERT INTO devices(gateway, channel, device, name, description)"
            " VALUES(?, ?, ?, ?, ?) ON CONFLICT(gateway, channel, device)"
            " DO UPDATE SET name = excluded.name, description = excluded.description",
            gateway, device.channel, device.id, device.name, device.description);
    }
}

Stored Ledger::StoreAlarms(const Contact &contact, const AlarmMessages &alarms) {
    const std::int64_t gateway = catalogue_.FindOrAdd(contact.sn).id;
    Note(contact, gateway, "alarmdata");
    std::map<std::tuple<std::string, std::string, int, int, std::string, std::string>, int> seen;
    Stored stored;
    for (const AlarmMessage &alarm : alarms) {
        const int occurrence = seen[{alarm.time, alarm.dblink, alarm.type, alarm.flag, alarm.value,
                                     alarm.threshold}]++;
        const auto added = statements_.TryInsert(
            "INSERT INTO alarms(gateway, time, channel, device, dblink, name, value,"
            " threshold, unit, type, flag, occurrence, received)"
            " VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO NOTHING",
            gateway, alarm.time, alarm.channel, alarm.device, alarm.dblink, alarm.name, alarm.value,
            alarm.threshold, alarm.unit, alarm.type, alarm.flag, occurrence,
            UtcText(contact.received));
        ++(added ? stored.fresh : stored.known);
        if (added) {
            NoteAlarmState(gateway, *added, alarm);
        }
    }
    statements_.RunLater("UPDATE gateways SET alarms = alarms + ? WHERE id = ?", stored.fresh,
                         gateway);
    return stored;
}

/// The newest event of a point and type says whether its alarm goes on. Of one time the last one
/// that came counts.
void Ledger::NoteAlarmState(std::int64_t gateway, std::int64_t number, const AlarmMessage &alarm) {
    statements_.RunLater(
        "INSERT INTO alarm_states(gateway, dblink, type, time, active, alarm)"
        " VALUES(?, ?, ?, ?, ?, ?) ON CONFLICT(gateway, dblink, type)"
        " DO UPDATE SET time = excluded.time, active = excluded.active, alarm = excluded.alarm"
        " WHERE alarm_states.time <= excluded.time",
        gateway, alarm.dblink, alarm.type, alarm.time, alarm.flag == 0 ? 0 : 1, number);
}

std::vector<TimeRange> Ledger::WaitingRecalls(const Contact &contact) {
    const KnownGateway *gateway = catalogue_.Find(contact.sn);
    std::vector<TimeRange> ranges;
    if (gateway == nullptr) {
        return ranges;
    }
    Note(contact, gateway->id, "calldata");
    {
        Rows rows = statements_.Select(
            "SELECT start, \"end\" FROM recalls WHERE gateway = ? AND finished IS NULL ORDER BY id",
            gateway->id);
        while (rows.Next()) {
            ranges.push_back({rows.Text(0), rows.Text(1)});
        }
    }
    if (!ranges.empty()) {
        statements_.Run(
            "UPDATE recalls SET fetched = ?"
            " WHERE gateway = ? AND finished IS NULL AND fetched IS NULL",
            UtcText(contact.received), gateway->id);
    }
    return ranges;
}

bool Ledger::FinishRecall(const Contact &contact, const TimeRange &range) {
    const KnownGateway *gateway = catalogue_.Find(contact.sn);
    if (gateway == nullptr) {
        return false;
    }
    Note(contact, gateway->id, "calldata");
    const bool asked =
        statements_.Exists("SELECT 1 FROM recalls WHERE gateway = ? AND start = ? AND \"end\" = ?",
                           gateway->id, range.start, range.end);
    statements_.Run(
        "UPDATE recalls SET finished = ? WHERE gateway = ? AND start = ? AND \"end\" = ?"
        " AND finished IS NULL",
        UtcText(contact.received), gateway->id, range.start, range.end);
    return asked;
}

std::vector<OfferedFile> Ledger::OfferedFiles(const Contact &contact) {
    const KnownGateway *gateway = catalogue_.Find(contact.sn);
    std::vector<OfferedFile> files;
    if (gateway == nullptr) {
        return files;
    }
    Note(contact, gateway->id, "downfile");
    {
        Rows rows = statements_.Select(
            "SELECT 'files/' || token || '/' || name, md5, type, target FROM files"
            " WHERE gateway = ? AND finished IS NULL ORDER BY id",
            gateway->id);
        while (rows.Next()) {
            files.push_back({rows.Text(0), rows.Text(1), rows.Text(2), rows.Text(3)});
        }
    }
    if (!files.empty()) {
        statements_.Run(
            "UPDATE files SET listed = ?"
            " WHERE gateway = ? AND finished IS NULL AND listed IS NULL",
            UtcText(contact.received), gateway->id);
    }
    return files;
}

bool Ledger::NoteFileStatus(const Contact &contact, const FileStatusMessage &status) {
    const KnownGateway *gateway = catalogue_.Find(contact.sn);
    if (gateway == nullptr) {
        return false;
    }
    Note(contact, gateway->id, "downfile");
    const bool offered = statements_.Exists("SELECT 1 FROM files WHERE gateway = ? AND md5 = ?",
                                            gateway->id, status.md5);
    // Files of one digest are reported one after the other: each report goes to the first of them
    // that still waits for it.
    if (status.status == 1) {
        statements_.Run(
            "UPDATE files SET state = 'begun', begun = ? WHERE id = (SELECT id FROM files"
            " WHERE gateway = ? AND md5 = ? AND state = 'offered' ORDER BY id LIMIT 1)",
            UtcText(contact.received), gateway->id, status.md5);
    } else {
        statements_.Run(
            "UPDATE files SET state = ?, finished = ? WHERE id = (SELECT id FROM files"
            " WHERE gateway = ? AND md5 = ? AND finished IS NULL ORDER BY id LIMIT 1)",
            status.status == 2 ? "done" : "damaged", UtcText(contact.received), gateway->id,
            status.md5);
    }
    return offered;
}

std::pair<std::int64_t, bool> Ledger::AskForRecall(const std::string &sn, const TimeRange &range) {
    const std::int64_t gateway = catalogue_.FindOrAdd(sn).id;
    const bool fresh = statements_.Run(
                           "INSERT INTO recalls(gateway, start, \"end\", asked)"
                           " VALUES(?, ?, ?, ?) ON CONFLICT DO NOTHING",
                           gateway, range.start, range.end, UtcNow()) > 0;
    Rows row = statements_.Select(
        "SELECT id FROM recalls WHERE gateway = ? AND start = ? AND \"end\" = ?"
        " AND finished IS NULL",
        gateway, range.start, range.end);
    row.Next();
    return {row.Number(0), fresh};
}

bool Ledger::CancelRecall(const std::string &sn, std::int64_t id) {
    const KnownGateway *gateway = catalogue_.Find(sn);
    return gateway != nullptr &&
           statements_.Run("DELETE FROM recalls WHERE id = ? AND finished IS NULL AND gateway = ?",
                           id, gateway->id) > 0;
}

std::int64_t Ledger::OfferFile(const std::string &sn, const NewFile &file,
                               const std::string &token) {
    const std::int64_t gateway = catalogue_.FindOrAdd(sn).id;
    return statements_.Insert(
        "INSERT INTO files(gateway, token, name, md5, type, target, size, state, offered)"
        " VALUES(?, ?, ?, ?, ?, ?, ?, 'offered', ?)",
        gateway, token, file.name, file.md5, file.type, file.target,
        static_cast<std::int64_t>(file.content.size()), UtcNow());
}

std::string Ledger::WithdrawFile(const std::string &sn, std::int64_t id) {
    std::string token;
    const KnownGateway *gateway = catalogue_.Find(sn);
    if (gateway == nullptr) {
        return token;
    }
    {
        Rows row = statements_.Select(
            "SELECT token FROM files WHERE id = ? AND state <> 'withdrawn' AND gateway = ?", id,
            gateway->id);
        if (!row.Next()) {
            return token;
        }
        token = row.Text(0);
    }
    statements_.Run(
        "UPDATE files SET state = CASE WHEN finished IS NULL THEN 'withdrawn' ELSE state END,"
        " finished = coalesce(finished, ?) WHERE id = ?",
        UtcNow(), id);
    return token;
}

bool Ledger::ForgetGateway(const std::string &sn, std::vector<std::string> &tokens) {
    const KnownGateway *gateway = catalogue_.Find(sn);
    if (gateway == nullptr) {
        return false;
    }
    const std::int64_t id = gateway->id;
    {
        Rows rows = statements_.Select("SELECT token FROM files WHERE gateway = ?", id);
        while (rows.Next()) {
            tokens.push_back(rows.Text(0));
        }
    }
    statements_.Run("DELETE FROM files WHERE gateway = ?", id);
    statements_.Run("DELETE FROM alarm_states WHERE gateway = ?", id);
    statements_.Run("DELETE FROM gateways WHERE id = ?", id);
    statements_.Run("INSERT INTO forgotten(gateway) VALUES(?)", id);
    catalogue_.Clear();
    return true;
}

}  // namespace corvenna::cloud
