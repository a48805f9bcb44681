#include "config/sys_set.h"
#include "tests/config/fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const corvenna::test::FuzzFile file(data, size);
    CSysSet set;
    set.Open(file.Path());
    set.Close();
    set.ShowCloudConfig();
    set.ShowGateWayInfo();
    set.ShowHttpsCertInfo();
    return 0;
}
