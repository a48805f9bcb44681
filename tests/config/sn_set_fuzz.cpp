#include "config/sn_set.h"
#include "tests/config/fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const corvenna::test::FuzzFile file(data, size);
    CsnSet set;
    if (set.Open(file.Path()) == 0 && set.GetSn()[0] == '\0') {
        __builtin_trap();  // a gateway without a name
    }
    set.Close();
    return 0;
}
