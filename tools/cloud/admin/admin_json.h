#pragma once

#include "tools/cloud/faults/faults.h"
#include "tools/cloud/http/trace.h"
#include "tools/cloud/store/json_writing.h"

namespace corvenna::cloud {

// What the API shows beside the database.

void WriteFault(JsonWriter &writer, const Fault &fault);
void WriteTraceEntry(JsonWriter &writer, const TraceEntry &entry);
/// Every exchange and kind that a fault can be made of.
void WriteFaultMenu(JsonWriter &writer);

}  // namespace corvenna::cloud
