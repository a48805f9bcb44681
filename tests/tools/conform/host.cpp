// A small host that does everything as it should, but for one thing.
//
//     conform_host CLAUSE FOLDER
//
// CLAUSE is what it does not keep to, or "right"; FOLDER is for its data files.

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "plugin/plugin.h"

namespace {

using std::chrono::milliseconds;

// What a call of the stand-in takes at least: one that asks the server, and one that makes a file
// of one channel with one device.
constexpr milliseconds kExchange{200};
constexpr milliseconds kProduction{600};
// So often, without pauses, is too often also where the machine stands still for a while.
constexpr int kMany = 20;
constexpr int kChanges = 10;

void Pause(std::int64_t duration) {
    std::this_thread::sleep_for(milliseconds(duration));
}

class Host {
public:
    Host(std::string wrong, std::string folder)
        : wrong_(std::move(wrong)), folder_(std::move(folder)) {
        const char *path = std::getenv("CORVENNA_CONFORM_LIBRARY");
        library_ = dlopen(path == nullptr ? "libcorvenna.so" : path, RTLD_NOW);
        if (library_ == nullptr) {
            throw std::runtime_error(dlerror());
        }
        Find(init_, "Init");
        Find(prePost_, "PrePost");
        Find(beat_, "SyncHeartBeat");
        Find(createValues_, "CreateRealDataFile");
        Find(createAlarms_, "CreateAlarmDataFile");
        Find(uploadValues_, "UploadRealDataFile");
        Find(uploadAlarms_, "UploadAlarmDataFile");
        Find(checkRecall_, "CheckRecall");
        Find(deleteRecall_, "DeleteRecall");
        Find(mutex_, "down_file_mutex");
    }

    void Live() {
        if (Is("deaf")) {
            std::signal(SIGTERM, SIG_IGN);
        }
        if (Is("init-first")) {
            beat_();
        }
        const int result = init_(&intervals_);
        if (Is("init-once")) {
            init_(&intervals_);
        }
        if (Is("init-stop") || Is("off-stop")) {
            beat_();
        }
        if (result != 0 || intervals_.RealDataInv == -1) {
            return;
        }
        Register();
        Misuse();
        if (!Is("real-made")) {
            Send();
        }
        if (!Is("recall-asked")) {
            Recall();
        }
        // Time in which what is missing could still have come.
        Pause(Is("real-made") || Is("retried") || Is("recall-done") ? 2200 * Interval() : 0);
        beat_();
        End();
    }

private:
    template <class Pointer>
    void Find(Pointer &pointer, const char *name) {
        void *found = dlsym(library_, name);
        if (found == nullptr) {
            throw std::runtime_error(name);
        }
        pointer = reinterpret_cast<Pointer>(found);
    }

    bool Is(const char *clause) const { return wrong_ == clause; }
    std::int32_t Interval() const { return intervals_.CheckFailInv; }

    void Register() {
        if (Is("registered")) {
            SendAlarms(folder_);
        }
        prePost_();  // the first one fails
        Pause(1000 * Interval());
        if (!Is("registered-again")) {
            prePost_();
        }
    }

    void Misuse() {
        if (Is("no-null")) {
            uploadAlarms_(nullptr);
        } else if (Is("folder-there")) {
            std::vector<std::string> files;
            std::string folder = folder_ + "/none";
            createAlarms_(&alarms_, folder.data(), &files);
        } else if (Is("folder-name")) {
            SendAlarms(folder_ + "/");
        } else if (Is("file-there")) {
            uploadAlarms_((folder_ + "/none.json").c_str());
        } else if (Is("file-format")) {
            std::string path = folder_ + "/values.bin";
            std::ofstream(path) << "values";
            uploadValues_(path.data());
            unlink(path.c_str());
        } else if (Is("list-shared")) {
            ShareAList();
        } else if (Is("deaf")) {
            Pause(600000);
        }
    }

    void SendAlarms(std::string folder) {
        std::vector<std::string> files;
        createAlarms_(&alarms_, folder.data(), &files);
        uploadAlarms_(files.at(0).c_str());
        unlink(files.at(0).c_str());
    }

    /// Makes two calls, each of which takes that long at least.
    /// @return whether both took too little time to have come one after the other.
    template <class One, class Other>
    static bool AtOnce(milliseconds least, const One &one, const Other &other) {
        const auto start = std::chrono::steady_clock::now();
        std::thread second(other);
        one();
        second.join();
        return std::chrono::steady_clock::now() - start < 2 * least;
    }

    void ShareAList() {
        std::string other = folder_ + "/other";
        std::filesystem::create_directory(other);
        for (bool shared = false; !shared;) {
            std::vector<std::string> files;
            shared = AtOnce(
                kProduction, [&] { createValues_(&values_, folder_.data(), &files, start_); },
                [&] { createValues_(&values_, other.data(), &files, start_); });
            for (const std::string &file : files) {
                unlink(file.c_str());
            }
        }
    }

    /// A file of all values, or none when some are left out.
    std::string Make(std::time_t time, std::map<unsigned int, double> values) {
        std::vector<std::string> files;
        createValues_(&values, folder_.data(), &files, time);
        return files.empty() ? "" : files.front();
    }

    /// Values that another thread changes, a few times at least in the midst of a call.
    void ChangeMeanwhile(std::map<unsigned int, double> &values) {
        double &value = values.at(0x02010001);
        std::atomic<int> changes{0};
        std::atomic<bool> made{false};
        std::thread second([&] {
            for (; !made; Pause(10)) {
                value += 1;
                ++changes;
            }
        });
        int before = 0;
        do {
            std::vector<std::string> files;
            before = changes;
            createValues_(&values, folder_.data(), &files, start_);
            unlink(files.at(0).c_str());
        } while (changes - before < kChanges);
        made = true;
        second.join();
    }

    void MisuseValues() {
        std::map<unsigned int, double> some = values_;
        if (Is("status-points")) {
            some.erase(0x02010100);
            unlink(Make(start_, some).c_str());
        } else if (Is("every-point")) {
            some.erase(0x02010001);
            unlink(Make(start_, some).c_str());
        } else if (Is("values-steady")) {
            ChangeMeanwhile(some);
        } else if (Is("file-kept")) {
            Make(start_, some);
        } else if (Is("real-pace")) {
            for (int before = kMany; before > 0; --before) {
                unlink(Make(start_ - before, some).c_str());
            }
        }
    }

    void Send() {
        MisuseValues();
        std::string first = Make(start_, values_);
        uploadValues_(first.data());
        if (!Is("file-deleted")) {
            unlink(first.c_str());
        }
        std::string second = Make(start_ + 1, values_);
        const int tries = Is("retry-pause") ? kMany : 2;
        for (int failures = 0; failures < tries; ++failures) {
            uploadValues_(second.data());
            if (Is("retried")) {
                break;
            }
            Pause(Is("retry-pause") ? 0 : 600 * Interval());
        }
        if (!Is("retried")) {
            uploadValues_(second.data());
        }
        unlink(second.c_str());
    }

    void Recall() {
        std::vector<recall_time_para> ranges(Is("recall-empty") ? 1 : 0);
        if (Is("recall-alone")) {
            AskTwice(ranges);
        } else {
            checkRecall_(&ranges);
        }
        for (int more = 0; Is("recall-pace") && more < kMany; ++more) {
            ranges.clear();
            checkRecall_(&ranges);
        }
        if (Is("recall-known")) {
            recall_time_para other{1, 2};
            deleteRecall_(&other);
        }
        if (ranges.empty() || ranges.back().end == 0) {
            return;
        }
        if (!Is("recall-sent")) {
            folder_ += "/again";
            std::filesystem::create_directory(folder_);
            std::string again = Make(ranges.back().start, values_);
            uploadValues_(again.data());
            unlink(again.c_str());
        }
        if (!Is("recall-done")) {
            deleteRecall_(&ranges.back());
        }
    }

    void AskTwice(std::vector<recall_time_para> &ranges) {
        for (bool both = false; !both;) {
            std::vector<recall_time_para> others;
            ranges.clear();
            both = AtOnce(
                kExchange, [&] { checkRecall_(&ranges); }, [&] { checkRecall_(&others); });
            Pause(both ? 0 : 2200 * Interval());  // no more often than the schedule allows
        }
    }

    void End() {
        if (Is("download-awaited")) {
            return;  // under a download that goes on: it ends when it is told so
        }
        // What the kit does when it asks a host to end.
        std::ofstream(std::string(std::getenv("CORVENNA_CONFORM_RECORD")) + ".stop").flush();
        while (pthread_mutex_trylock(mutex_) != 0) {
            Pause(10);
        }
    }

    const std::string wrong_;
    std::string folder_;
    void *library_;
    Interval_info intervals_{};
    const std::time_t start_ = std::time(nullptr);
    std::map<unsigned int, double> values_ = {{0x02010001, 1.5}, {0x02010100, 1}};
    std::vector<Alarm_Data_Para> alarms_;

    decltype(&::Init) init_ = nullptr;
    decltype(&::PrePost) prePost_ = nullptr;
    decltype(&::SyncHeartBeat) beat_ = nullptr;
    decltype(&::CreateRealDataFile) createValues_ = nullptr;
    decltype(&::CreateAlarmDataFile) createAlarms_ = nullptr;
    decltype(&::UploadRealDataFile) uploadValues_ = nullptr;
    decltype(&::UploadAlarmDataFile) uploadAlarms_ = nullptr;
    decltype(&::CheckRecall) checkRecall_ = nullptr;
    decltype(&::DeleteRecall) deleteRecall_ = nullptr;
    pthread_mutex_t *mutex_ = nullptr;
};

}  // namespace

int main(int count, char **arguments) {
    try {
        if (count != 3) {
            throw std::runtime_error("conform_host CLAUSE FOLDER");
        }
        Host(arguments[1], arguments[2]).Live();
        return 0;
    } catch (const std::exception &error) {
        static_cast<void>(std::fprintf(stderr, "conform_host: %s\n", error.what()));
        return 1;
    }
}
