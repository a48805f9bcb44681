// The compressed output of a finished document against zlib's bare compress of the same text.

#include <zlib.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "base/local_time.h"
#include "bench/packfile/points.h"
#include "bench/support/cost.h"
#include "packfile/output.h"
#include "packfile/real_data_json.h"

namespace corvenna::bench {
namespace {

JsonText *gText;

void Prepare(unsigned count) {
    if (gText != nullptr) {
        return;
    }
    MakePoints(count);
    gText = new JsonText;
    gText->StartArray();
    for (const auto &[id, value] : Values()) {
        gText->String("point " + std::to_string(id) + " " + std::to_string(value));
    }
    gText->EndArray();
}

void WriteCompressed() {
    std::vector<std::string> files;
    SaveJson({DataKind::kRealJson, true, kFolder, *LocalTime(kSampleTime), &files}, gText->Text(),
             {0, __func__});
    if (files.size() != 1 || files[0].back() != 'z') {
        std::abort();
    }
}

template <int Level>
void BareCompress() {
    static Bytef output[65536];
    uLongf length = sizeof output;
    if (compress2(output, &length, reinterpret_cast<const Bytef *>(gText->Text().Join()),
                  gText->Text().Length() + 1, Level) != Z_OK) {
        std::abort();
    }
}

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    using namespace corvenna::bench;
    return CostMain(argc, argv, 1000,
                    {{"packfile", Prepare, WriteCompressed},
                     {"bare compress", Prepare, BareCompress<Z_DEFAULT_COMPRESSION>},
                     {"level 1", Prepare, BareCompress<Z_BEST_SPEED>}});
}
