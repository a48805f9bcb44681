// Lets a fork() wait until the other threads of the process rest, a second at most.
//
// GCC 12's thread sanitizer leaves the locks of its own allocators and of its records of mutexes in
// the child as some other thread held them at that moment: any call may then wait there for ever.
// A thread that sleeps holds none of them.

#include <dirent.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

/// "PID (NAME) STATE ...", where a name may hold anything. One that has ended rests, too.
bool IsAsleep(const std::string &thread) {
    const std::string path = "/proc/self/task/" + thread + "/stat";
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path.c_str(), "re"), std::fclose);
    char text[256];
    if (file == nullptr || std::fgets(text, sizeof text, file.get()) == nullptr) {
        return true;
    }
    const std::string line = text;
    const std::size_t name = line.rfind(") ");
    return name == std::string::npos || std::strchr("RD", line[name + 2]) == nullptr;
}

bool OthersAreAsleep() {
    const std::unique_ptr<DIR, int (*)(DIR *)> threads(opendir("/proc/self/task"), closedir);
    if (threads == nullptr) {
        return true;
    }
    const std::string self = std::to_string(gettid());
    while (const dirent *entry = readdir(threads.get())) {
        const std::string thread = entry->d_name;
        if (thread[0] != '.' && thread != self && !IsAsleep(thread)) {
            return false;
        }
    }
    return true;
}

void AwaitRest() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (!OthersAreAsleep() && std::chrono::steady_clock::now() < end) {
        sched_yield();
    }
}

/// Registered first, so called last before a fork: those whom the others wait for are called then.
[[gnu::constructor(101)]] void OutliveForks() {
    if (pthread_atfork(AwaitRest, nullptr, nullptr) != 0) {
        std::abort();
    }
}

}  // namespace
