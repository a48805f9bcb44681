#include "tools/cloud/descriptors.h"

#include <sys/resource.h>

#include <algorithm>

namespace corvenna::cloud {

std::size_t RaiseDescriptorLimit(std::size_t wanted) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return 0;
    }
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = std::max(before, std::min<rlim_t>(wanted, limit.rlim_max));
    return static_cast<std::size_t>(setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur
                                                                          : before);
}

}  // namespace corvenna::cloud
