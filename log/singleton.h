#pragma once

#include <new>
#include <type_traits>

#include "base/single_instance.h"

namespace corvenna {

/// Base of what has a writer thread: Start() is called once for the single instance, Finish() when
/// the library is unloaded or the process ends.
class LogSinkTag {};

}  // namespace corvenna

/// The one instance of a type, made at its first use (safe from several threads).
template <class T>
class Singleton {
public:
    static T &Instance() {
        if constexpr (std::is_base_of_v<corvenna::LogSinkTag, T>) {
            return corvenna::MadeAtFirstUse<T>(MakeSink);
        } else {
            static T instance;
            return instance;
        }
    }

private:
    static void *MakeSink() {
        // Ours: a sink is finished at the end and never destroyed. Its writer thread has no stop
        // and goes on using its queue and its mutexes. It needs no memory to be made.
        auto *const sink = new (corvenna::PlaceOf<T>()) T;
        sink->Start();
        // Without memory to remember it, what is queued at the end stays unwritten.
        static_cast<void>(std::atexit([] { static_cast<T *>(corvenna::PlaceOf<T>())->Finish(); }));
        return sink;
    }
};
