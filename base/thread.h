#pragma once

#include <pthread.h>

#include <cstddef>

namespace corvenna {

constexpr std::size_t kThreadStackBytes = 2097152;

/// Starts a detached thread with a stack of kThreadStackBytes, which gets no signals of writes.
/// @param handle receives the thread's handle; may be null.
/// @return whether the thread was created.
bool StartDetachedThread(void *(*body)(void *), void *argument, pthread_t *handle = nullptr);

}  // namespace corvenna
