#include "log/stamp.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <ctime>

#include "base/local_time.h"
#include "base/text.h"

namespace corvenna {
namespace {

using Word = std::uintptr_t;

/// What a printed stamp depends on: the second, and the time zone that tzset() set last.
using StampKey = std::array<Word, 5>;

StampKey KeyOf(std::time_t time) {
    const auto second = static_cast<std::uint64_t>(time);
    return {static_cast<Word>(second), static_cast<Word>(second >> 32U),
            static_cast<Word>(timezone), reinterpret_cast<Word>(tzname[0]),
            reinterpret_cast<Word>(tzname[1])};
}

/// The stamp that was printed last, for all threads: printing one costs more than the rest of a log
/// call. Nobody waits: who meets a change under way goes without. A copy that was torn shows in the
/// count of changes, which is odd during one and is read before and after the words; each word is
/// read in order (acquire) and written in order (release), so the count vouches for all of them.
///
/// Not one stamp a thread: a library that is loaded later gets its thread-local memory from the
/// heap at the first use on each thread, and the C library ends the process when there is none.
class LastStamp {
public:
    /// @return whether the last stamp is the one for that key.
    bool Read(const StampKey &key, LogStamp &stamp) const {
        const unsigned before = changes_.load(std::memory_order_acquire);
        bool same = before % 2 == 0;
        for (std::size_t i = 0; i < key.size(); ++i) {
            same = same && key_[i].load(std::memory_order_acquire) == key[i];
        }
        StampWords words;
        for (std::size_t i = 0; i < words.size(); ++i) {
            words[i] = stamp_[i].load(std::memory_order_acquire);
        }
        std::memcpy(&stamp, words.data(), sizeof stamp);
        return same && changes_.load(std::memory_order_relaxed) == before;
    }

    void Write(const StampKey &key, const LogStamp &stamp) {
        unsigned before = changes_.load(std::memory_order_relaxed);
        if (before % 2 != 0 ||
            !changes_.compare_exchange_strong(before, before + 1, std::memory_order_acquire)) {
            return;
        }
        for (std::size_t i = 0; i < key.size(); ++i) {
            key_[i].store(key[i], std::memory_order_release);
        }
        StampWords words;
        std::memcpy(words.data(), &stamp, sizeof stamp);
        for (std::size_t i = 0; i < words.size(); ++i) {
            stamp_[i].store(words[i], std::memory_order_release);
        }
        changes_.store(before + 2, std::memory_order_release);
    }

private:
    using StampWords = std::array<Word, sizeof(LogStamp) / sizeof(Word)>;
    static_assert(sizeof(StampWords) == sizeof(LogStamp));

    std::atomic<unsigned> changes_{0};
    std::array<std::atomic<Word>, std::tuple_size_v<StampKey>> key_{};
    std::array<std::atomic<Word>, std::tuple_size_v<StampWords>> stamp_{};
};

LastStamp gLast;

LogStamp Print(std::time_t second) {
    LogStamp stamp{};
    const std::tm broken = LocalTime(second).value_or(std::tm{});
    PrintText(AllOf(stamp.date), "%d-%02d-%02d", CalendarYear(broken), broken.tm_mon + 1,
              broken.tm_mday);
    PrintText(AllOf(stamp.time), "%02d:%02d:%02d", broken.tm_hour, broken.tm_min, broken.tm_sec);
    return stamp;
}

}  // namespace

LogStamp CurrentLogStamp() {
    const std::time_t now = std::time(nullptr);
    LogStamp stamp;
    if (!gLast.Read(KeyOf(now), stamp)) {
        stamp = Print(now);
        gLast.Write(KeyOf(now), stamp);  // asked again: the first stamp sets the time zone
    }
    return stamp;
}

}  // namespace corvenna
