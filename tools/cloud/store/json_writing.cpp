#include "tools/cloud/store/json_writing.h"

namespace corvenna::cloud {
namespace {

void WriteColumn(JsonWriter &writer, const Rows &row, int column) {
    if (row.IsNull(column)) {
        writer.Null();
    } else if (row.IsNumber(column)) {
        writer.Int64(row.Number(column));
    } else {
        WriteText(writer, row.View(column));
    }
}

}  // namespace

std::string Json(const std::function<void(JsonWriter &)> &write) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    write(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

void WriteText(JsonWriter &writer, std::string_view text) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void WriteText(JsonWriter &writer, const char *name, std::string_view text) {
    writer.Key(name);
    WriteText(writer, text);
}

void WriteNumber(JsonWriter &writer, const char *name, std::int64_t number) {
    writer.Key(name);
    writer.Int64(number);
}

void WriteRow(JsonWriter &writer, Rows &row) {
    writer.StartObject();
    for (int column = 0; column < row.Columns(); ++column) {
        writer.Key(row.Name(column));
        WriteColumn(writer, row, column);
    }
    writer.EndObject();
}

void WriteRows(JsonWriter &writer, Rows &rows) {
    writer.StartArray();
    while (rows.Next()) {
        WriteRow(writer, rows);
    }
    writer.EndArray();
}

}  // namespace corvenna::cloud
