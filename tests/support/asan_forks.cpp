// Makes the address sanitizer outlive fork() in a process of several threads.
//
// GCC 12's runtime leaves its locks in the child as some other thread held them at that moment: the
// child's next allocation then waits for ever. And it looks for the parent's threads there: what
// only their stacks point at, a statement that a writer was preparing, say, is a leak to it.
//
// Its leak checker stops a process, and lists what is allocated, by the functions below; they are
// no part of its interface, but of its archive.

#include <pthread.h>

#include <cstdint>
#include <cstdlib>

namespace __lsan {
enum ChunkTag { kDirectlyLeaked, kIndirectlyLeaked, kReachable, kIgnored };

class LsanMetadata {
public:
    explicit LsanMetadata(std::uintptr_t block);
    bool allocated() const;
    void set_tag(ChunkTag value);

private:
    void *metadata_;
};

void LockThreadRegistry();
void UnlockThreadRegistry();
void LockAllocator();
void UnlockAllocator();
void ForEachChunk(void (*callback)(std::uintptr_t chunk, void *context), void *context);
std::uintptr_t GetUserBegin(std::uintptr_t chunk);
}  // namespace __lsan

namespace __sanitizer {
void StackDepotLockAll();
void StackDepotUnlockAll();
}  // namespace __sanitizer

namespace {

void Lock() {
    __lsan::LockThreadRegistry();
    __lsan::LockAllocator();
    __sanitizer::StackDepotLockAll();
}

void Unlock() {
    __sanitizer::StackDepotUnlockAll();
    __lsan::UnlockAllocator();
    __lsan::UnlockThreadRegistry();
}

/// A child answers for the blocks that it allocates itself; those of its parent were checked there.
void UnlockChild() {
    __lsan::ForEachChunk(
        [](std::uintptr_t chunk, void *) {
            __lsan::LsanMetadata block(__lsan::GetUserBegin(chunk));
            if (block.allocated()) {
                block.set_tag(__lsan::kIgnored);
            }
        },
        nullptr);
    Unlock();
}

/// Registered first, so taken last before a fork and given back first.
[[gnu::constructor(101)]] void OutliveForks() {
    if (pthread_atfork(Lock, Unlock, UnlockChild) != 0) {
        std::abort();
    }
}

}  // namespace
