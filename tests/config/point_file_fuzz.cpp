#include <cstring>

#include "config/channel_set.h"
#include "tests/config/fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const corvenna::test::FuzzFile file(data, size);
    CChannelSet set;
    ST_DEV_ATTR dev{};
    std::strncpy(dev.Name, file.Path(), sizeof dev.Name - 1);
    dev.ChannelNo = 1;
    dev.SlaveId = 3;
    set.LoadDevPointAttr(dev);
    MAP_CHANNEL_POINT *tree = nullptr;
    set.GetAttr(&tree);
    set.ShowSamplePointInfo(tree);
    return 0;
}
