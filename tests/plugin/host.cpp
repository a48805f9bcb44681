#include "tests/plugin/host.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tests/support/files.h"

namespace corvenna::test {
namespace {

template <class Pointer>
void LookUp(void *library, const char *name, Pointer &pointer) {
    pointer = reinterpret_cast<Pointer>(dlsym(library, name));
    EXPECT_NE(pointer, nullptr) << name;
}

}  // namespace

Plugin::Plugin() : library_(dlopen(CORVENNA_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) {
        ADD_FAILURE() << dlerror();
        std::abort();
    }
    LookUp(library_, "Init", Init);
    LookUp(library_, "PrePost", PrePost);
    LookUp(library_, "SyncHeartBeat", SyncHeartBeat);
    LookUp(library_, "CreateRealDataFile", CreateRealDataFile);
    LookUp(library_, "CreateAlarmDataFile", CreateAlarmDataFile);
    LookUp(library_, "UploadRealDataFile", UploadRealDataFile);
    LookUp(library_, "UploadAlarmDataFile", UploadAlarmDataFile);
    LookUp(library_, "CheckRecall", CheckRecall);
    LookUp(library_, "DeleteRecall", DeleteRecall);
    LookUp(library_, "log_Text", log_Text);
    LookUp(library_, "main", Main);
    LookUp(library_, "down_file_mutex", downFileMutex);
}

void Plugin::AwaitDownload() const {
    ASSERT_EQ(pthread_mutex_lock(downFileMutex), 0);
    ASSERT_EQ(pthread_mutex_unlock(downFileMutex), 0);
}

std::string TextLog() {
    std::string text;
    for (const std::string &name : ListFolder("/tmp/CloudLog")) {
        if (name.find("_log.txt") != std::string::npos) {
            text += ReadFile("/tmp/CloudLog/" + name);
        }
    }
    return text;
}

}  // namespace corvenna::test
