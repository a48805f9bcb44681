#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "base/json.h"
#include "tools/cloud/store/connection.h"

namespace corvenna::cloud {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

/// The text that a function writes.
std::string Json(const std::function<void(JsonWriter &)> &write);

void WriteText(JsonWriter &writer, std::string_view text);
void WriteText(JsonWriter &writer, const char *name, std::string_view text);
void WriteNumber(JsonWriter &writer, const char *name, std::int64_t number);

/// A row as an object: the columns' names are its keys.
void WriteRow(JsonWriter &writer, Rows &row);
/// All rows of a statement as an array of objects.
void WriteRows(JsonWriter &writer, Rows &rows);

}  // namespace corvenna::cloud
