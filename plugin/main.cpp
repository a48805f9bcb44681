#include <cstdio>
#include <vector>

#include "plugin/plugin.h"

/// Test driver of the library: asks the server once for its recalls and prints them.
CORVENNA_API int main() {
    Interval_info intervals{};
    Init(&intervals);  // On purpose: the driver goes on whatever Init says.
    std::vector<recall_time_para> recalls;
    CheckRecall(&recalls);
    std::printf("mrecalltime size =%d\n", static_cast<int>(recalls.size()));
    for (const recall_time_para &recall : recalls) {
        std::printf("%d------%d\n", recall.start, recall.end);
    }
    return 0;
}
