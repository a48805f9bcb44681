#pragma once

#include <type_traits>

namespace corvenna {

/// Base of what has a writer thread: Start() is called once for the single instance, Finish() when
/// the library is unloaded or the process ends.
class LogSink {};

}  // namespace corvenna

/// The one instance of a type, made at its first use (safe from several threads).
template <class T>
class Singleton {
public:
    static T &Instance() {
        if constexpr (std::is_base_of_v<corvenna::LogSink, T>) {
            // Ours: a sink is finished at the end and never destroyed. Its writer thread has no
            // stop and goes on using its queue and its mutexes.
            static T *const instance = new T;
            static const Life life(*instance);
            return *instance;
        } else {
            static T instance;
            return instance;
        }
    }

private:
    class Life {
    public:
        explicit Life(T &sink) : sink_(sink) { sink_.Start(); }
        ~Life() { sink_.Finish(); }
        Life(const Life &) = delete;
        Life &operator=(const Life &) = delete;

    private:
        T &sink_;
    };
};
