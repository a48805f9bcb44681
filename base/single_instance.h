#pragma once

#include <atomic>
#include <cstdlib>
#include <new>

namespace corvenna {

/// What the process has one of, made at its first use, for any number of threads: the first that
/// asks makes it, and no child of fork() finds it half made.
class MadeOnce {
public:
    void *Get(void *(*make)()) {
        void *const made = made_.load(std::memory_order_acquire);
        return made != nullptr ? made : Make(make);
    }

private:
    void *Make(void *(*make)());

    std::atomic<void *> made_{nullptr};
};

template <class T>
T &MadeAtFirstUse(void *(*make)()) {
    static MadeOnce one;
    return *static_cast<T *>(one.Get(make));
}

/// Where the one of a type is. Memory of the library's own, for which none needs to be found.
template <class T>
void *PlaceOf() {
    alignas(T) static unsigned char place[sizeof(T)];
    return place;
}

/// The one instance of a service: made at its first use (safe from several threads), destroyed when
/// the library is unloaded. Each service is asked for in one place, its accessor.
template <class Service>
Service *SingleInstance() {
    return &MadeAtFirstUse<Service>([]() -> void * {
        auto *const service = new (PlaceOf<Service>()) Service;
        // Without memory to remember it, it stays as it is until the process is gone.
        static_cast<void>(
            std::atexit([] { static_cast<Service *>(PlaceOf<Service>())->~Service(); }));
        return service;
    });
}

/// The same for a service that is never destroyed.
/// Ours: threads of the host may be using it while the process ends, for a data file's pauses take
/// seconds and an answer 90, and the logs are written after everything else.
template <class Service>
Service *LastingInstance() {
    return &MadeAtFirstUse<Service>([]() -> void * { return new (PlaceOf<Service>()) Service; });
}

}  // namespace corvenna
