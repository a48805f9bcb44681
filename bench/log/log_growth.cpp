// Entries from the call to the disk: `size` of them into empty files, written after every 1,000 as
// a writer thread does every five seconds, or all at once after a burst.

#include <algorithm>
#include <filesystem>

#include "bench/support/cost.h"
#include "log/log.h"
#include "log/log_database.h"
#include "log/log_txt.h"
#include "log/singleton.h"

namespace {

using namespace corvenna::bench;

constexpr unsigned kEntriesOfRound = 1000;

unsigned gEntries;

void Prepare(unsigned entries) {
    gEntries = entries;
    log_init(0);
}

template <class Sink, int (*Log)(LogLevel level, const char *format, ...)>
void LogAndWrite(unsigned entriesOfRound) {
    std::filesystem::remove_all("/tmp/CloudLog");
    for (unsigned done = 0; done < gEntries;) {
        const unsigned end = std::min(done + entriesOfRound, gEntries);
        for (; done < end; ++done) {
            Log(kLogInfo, "start Send realdata %s, %u", "/tmp/up/S20240305070809.json", done);
        }
        Singleton<Sink>::Instance().Finish();
    }
}

template <class Sink, int (*Log)(LogLevel level, const char *format, ...)>
void InRounds() {
    LogAndWrite<Sink, Log>(kEntriesOfRound);
}

template <class Sink, int (*Log)(LogLevel level, const char *format, ...)>
void InOneBurst() {
    LogAndWrite<Sink, Log>(gEntries);
}

}  // namespace

int main(int argc, char **argv) {
    return CostMain(argc, argv, 1000,
                    {{"text", Prepare, InRounds<CLogTxt, log_Text>},
                     {"text burst", Prepare, InOneBurst<CLogTxt, log_Text>},
                     {"database", Prepare, InRounds<CLogDatabase, log_DB>},
                     {"database burst", Prepare, InOneBurst<CLogDatabase, log_DB>}});
}
