#include "tools/cloud/admin/admin_json.h"

#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {
namespace {

void WriteFaultKind(JsonWriter &writer, const FaultKindRow &row) {
    writer.StartObject();
    WriteText(writer, "name", row.name);
    WriteText(writer, "meaning", row.meaning);
    if (row.valueMeaning != nullptr) {
        WriteText(writer, "value", row.valueMeaning);
        WriteNumber(writer, "lowest", row.lowest);
        WriteNumber(writer, "highest", row.highest);
        WriteNumber(writer, "usual", row.usual);
    }
    writer.EndObject();
}

}  // namespace

void WriteFault(JsonWriter &writer, const Fault &fault) {
    const FaultKindRow &row = RowOf(fault.kind);
    writer.StartObject();
    WriteNumber(writer, "id", fault.id);
    WriteText(writer, "exchange", fault.exchange);
    if (!fault.sn.empty()) {
        WriteText(writer, "sn", fault.sn);
    }
    WriteText(writer, "kind", row.name);
    if (row.valueMeaning != nullptr) {
        WriteNumber(writer, "value", fault.value);
    }
    if (fault.left >= 0) {
        WriteNumber(writer, "left", fault.left);
    }
    WriteNumber(writer, "happened", fault.happened);
    writer.EndObject();
}

void WriteTraceEntry(JsonWriter &writer, const TraceEntry &entry) {
    writer.StartObject();
    WriteNumber(writer, "id", entry.id);
    WriteText(writer, "process", CleanUtf8(entry.process));
    WriteText(writer, "time", entry.time);
    WriteText(writer, "scheme", entry.scheme);
    WriteText(writer, "address", entry.address);
    WriteText(writer, "sn", entry.sn);
    WriteText(writer, "exchange", entry.exchange);
    WriteText(writer, "method", CleanUtf8(entry.method));
    WriteText(writer, "target", CleanUtf8(entry.target));
    WriteText(writer, "request_headers", CleanUtf8(entry.requestHeaders));
    WriteNumber(writer, "request_bytes", entry.requestBytes);
    WriteText(writer, "request_body", entry.requestBody);
    WriteNumber(writer, "status", entry.status);
    WriteNumber(writer, "answer_bytes", entry.answerBytes);
    WriteText(writer, "answer_body", entry.answerBody);
    WriteNumber(writer, "milliseconds", entry.milliseconds);
    WriteText(writer, "fault", entry.fault);
    WriteText(writer, "note", entry.note);
    writer.EndObject();
}

void WriteFaultMenu(JsonWriter &writer) {
    writer.StartObject();
    writer.Key("exchanges");
    writer.StartArray();
    for (const ExchangeRow &row : Exchanges()) {
        WriteText(writer, row.name);
    }
    writer.EndArray();
    writer.Key("kinds");
    writer.StartArray();
    for (const FaultKindRow &row : FaultKinds()) {
        WriteFaultKind(writer, row);
    }
    writer.EndArray();
    writer.EndObject();
}

}  // namespace corvenna::cloud
