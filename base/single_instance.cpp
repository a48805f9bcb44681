#include "base/single_instance.h"

#include "base/forks.h"
#include "base/undisturbed.h"

namespace corvenna {

void *MadeOnce::Make(void *(*make)()) {
    const Undisturbed whole;
    const FirstUse alone;
    void *made = made_.load(std::memory_order_relaxed);  // by one that was faster
    if (made == nullptr) {
        made = make();
        made_.store(made, std::memory_order_release);
    }
    return made;
}

}  // namespace corvenna
