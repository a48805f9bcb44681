#include "message/answer_entries.h"

#include "log/log.h"

namespace corvenna {

void ReportFullList(std::size_t entries) {
    log_Text(kLogError, "the list is full with %zu entries, the rest is ignored", entries);
}

}  // namespace corvenna
