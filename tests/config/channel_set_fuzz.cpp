#include "config/channel_set.h"
#include "tests/config/fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const corvenna::test::FuzzFile file(data, size);
    CChannelSet set;
    set.Open(file.Path());
    set.Close();
    MAP_DEV_ATTR *devices = nullptr;
    set.GetAttr(&devices);
    set.ShowDevInfo(devices);
    return 0;
}
