#include "config/instances.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "config/channel_set.h"

namespace corvenna::test {
namespace {

constexpr unsigned short kDevice = 0x0102;

/// Writes over what has been freed: on a heap in use, others soon would.
void UseTheHeap() {
    constexpr std::size_t kStep = 16;
    for (std::size_t size = kStep; size <= 2 * sizeof(ST_DEV_ATTR); size += kStep) {
        if (void *const block = std::malloc(size)) {  // kept: the process is about to end
            std::memset(block, 0x5A, size);
        }
    }
}

/// Runs at the very end of the process, as threads of the host may. Status 0: the device is there.
void LookForTheDevice() {
    UseTheHeap();
    ST_DEV_ATTR *found = nullptr;
    _exit(GetCChannelSetInstance()->GetAttr(kDevice, &found) == 0 && found->SlaveId == 2 ? 0 : 1);
}

TEST(ConfigurationInstances, OutliveTheEndOfTheProcess) {
    EXPECT_EXIT(
        {
            std::atexit(LookForTheDevice);  // runs after what is registered later
            ST_DEV_ATTR device{};
            device.ChannelNo = 1;
            device.SlaveId = 2;
            GetCChannelSetInstance()->AddDev(device);
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace corvenna::test
