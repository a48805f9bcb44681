#include "base/thread.h"

#include "base/undisturbed.h"

namespace corvenna {

bool StartDetachedThread(void *(*body)(void *), void *argument, pthread_t *handle) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    pthread_t unused;
    const Undisturbed inherited;
    const bool started =
        pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED) == 0 &&
        pthread_attr_setstacksize(&attributes, kThreadStackBytes) == 0 &&
        pthread_create(handle != nullptr ? handle : &unused, &attributes, body, argument) == 0;
    pthread_attr_destroy(&attributes);
    return started;
}

}  // namespace corvenna
