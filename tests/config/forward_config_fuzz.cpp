#include "config/forward_config.h"
#include "tests/config/fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const corvenna::test::FuzzFile file(data, size);
    CForwardConfig config;
    config.Open(file.Path());
    config.Close();
    for (const auto &channel : config.GetForwardMap()) {
        if (channel.second.empty()) {
            __builtin_trap();  // an address is only made for a point
        }
    }
    return 0;
}
