// The least that a host needs: it knows the plug-in by its public headers alone.
#include <config/sn_set.h>
#include <log/log.h>
#include <plugin/instances.h>
#include <plugin/plugin.h>

#include <cstring>

int main() {
    Interval_info intervals{};
    const bool called = SyncHeartBeat() == 0 && Init(nullptr) == -1 && CheckRecall(nullptr) == -1;
    const bool known = std::strcmp(LogLevelToString(kLogInfo), "INFO") == 0 &&
                       GetCsnSetInstance()->GetModel() == 1;
    return called && known && intervals.RealDataInv == 0 ? 0 : 1;
}
