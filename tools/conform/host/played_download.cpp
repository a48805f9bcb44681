#include "tools/conform/host/played_download.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "plugin/plugin.h"
#include "tools/conform/host/record.h"

namespace corvenna::stand_in {
namespace {

std::atomic<bool> gDownloading{false};

void WaitForTheEnd() {
    const std::string stop = Environment("CORVENNA_CONFORM_RECORD") + ".stop";
    while (access(stop.c_str(), F_OK) != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
}

void *Download(void * /*unused*/) {
    WaitForTheEnd();
    gDownloading = false;
    pthread_mutex_unlock(&down_file_mutex);
    return nullptr;
}

void TellEnd() {
    Call call("exit");
    call.Say("downloading", gDownloading ? "1" : "").Begin();
}

}  // namespace

void PlayDownload() {
    static std::atomic<bool> played{false};
    // A host that just looks whether a download goes on has the mutex, too.
    if (played || pthread_mutex_trylock(&down_file_mutex) != 0) {
        return;
    }
    played = true;
    gDownloading = true;
    pthread_t thread;
    if (std::atexit(TellEnd) != 0 || pthread_create(&thread, nullptr, Download, nullptr) != 0) {
        gDownloading = false;
        pthread_mutex_unlock(&down_file_mutex);
        return;
    }
    pthread_detach(thread);
}

}  // namespace corvenna::stand_in
