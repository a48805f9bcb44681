#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <future>
#include <string>

#include "log/log.h"

namespace {

std::promise<int> gDayFileFlags;

}  // namespace

extern "C" {

int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...) {
    if ((flags & O_CREAT) == 0) {
        return __real_open(path, flags);
    }
    if (std::string(path).rfind("/tmp/CloudLog/", 0) == 0) {
        gDayFileFlags.set_value(flags);
    }
    va_list more;
    va_start(more, flags);
    const mode_t mode = va_arg(more, mode_t);
    va_end(more);
    return __real_open(path, flags, mode);
}

}  // extern "C"

namespace corvenna::test {
namespace {

TEST(DayFile, IsNotInheritedByAChildOfTheHost) {
    log_Text(kLogInfo, "a message");
    EXPECT_NE(gDayFileFlags.get_future().get() & O_CLOEXEC, 0);
}

}  // namespace
}  // namespace corvenna::test
