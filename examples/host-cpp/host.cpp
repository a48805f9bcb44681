// A small host in C++: it samples, raises alarms, has files produced and sends them, keeps what did
// not arrive, and serves recalls.
//
//     host FOLDER          until SIGINT or SIGTERM; FOLDER keeps the files that did not arrive
//     host FOLDER once     each job once; 0 when nothing is left waiting
#include <config/channel_set.h>
#include <config/instances.h>
#include <plugin/plugin.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Values = std::map<unsigned int, double>;

// ---- The plant: in place of these two a real host polls its devices. ----

constexpr double kUpperLimit = 101.5;

double Poll(std::uint32_t id) {
    return 100.0 + static_cast<double>(id & 0xFF);
}

/// Every configured point has a value, or the document is abandoned; every device has its status
/// (the digital input 0), or it counts as down.
Values Sample() {
    MAP_POINTID_ATTR *points = nullptr;
    MAP_DEV_ATTR *devices = nullptr;
    GetCChannelSetInstance()->GetAttr(&points);
    GetCChannelSetInstance()->GetAttr(&devices);
    Values values;
    for (const auto &entry : *points) {
        values[entry.first] = Poll(entry.first);
    }
    for (const auto &entry : *devices) {
        values[static_cast<std::uint32_t>(entry.first) << 16 | 0x0100] = 1;
    }
    return values;
}

// ---- What the host remembers ----

/// The newest samples, for recalls, and the alarms that were not written yet. For any thread.
class Memory {
public:
    void Keep(std::time_t time, const Values &values) {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const auto &[id, value] : values) {
            RaiseAlarm(time, id, value);
        }
        samples_[time] = values;
        if (samples_.size() > kMostSamples) {
            samples_.erase(samples_.begin());
        }
    }

    std::map<std::time_t, Values> Between(std::time_t start, std::time_t end) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (start > end) {
            return {};
        }
        return {samples_.lower_bound(start), samples_.upper_bound(end)};
    }

    std::vector<Alarm_Data_Para> TakeAlarms() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(alarms_, {});
    }

private:
    static constexpr std::size_t kMostSamples = 1440;

    /// When the value goes over its limit, and when it is back.
    void RaiseAlarm(std::time_t time, std::uint32_t id, double value) {
        const bool over = value > kUpperLimit;
        if (over ? over_.insert(id).second : over_.erase(id) > 0) {
            constexpr int kUpper = 1;
            alarms_.push_back(
                {static_cast<std::int32_t>(time), id, kUpperLimit, value, kUpper, over ? 1 : 0});
        }
    }

    mutable std::mutex mutex_;
    std::map<std::time_t, Values> samples_;
    std::vector<Alarm_Data_Para> alarms_;
    std::set<std::uint32_t> over_;
};

// ---- Files ----

// The plug-in keeps paths of up to 126 bytes; a name takes 21 of them, our folders 13.
constexpr std::size_t kLongestFolder = 90;
constexpr std::size_t kMostWaiting = 1000;

int SendRealData(const std::string &path) {
    std::string copy = path;  // the entry point takes a text that it could write to, and does not
    return UploadRealDataFile(copy.data());
}

int SendAlarmData(const std::string &path) {
    return UploadAlarmDataFile(path.c_str());
}

/// Has a file produced. @return its path, empty when there is none.
template <class Create>
std::string Produce(const fs::path &folder, Create create) {
    // An uncompressed JSON file that cannot be opened would stop the process.
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
        throw std::runtime_error("cannot write into " + folder.string());
    }
    std::string directory = folder.string();
    std::vector<std::string> files;  // of this call alone: lists are not shared between threads
    create(directory.data(), &files);
    return files.empty() ? std::string() : files.back();  // a result of 0 is not yet a file
}

std::set<fs::path> FilesIn(const fs::path &folder) {
    return {fs::directory_iterator(folder), fs::directory_iterator()};
}

// ---- The host ----

class Host {
public:
    explicit Host(const fs::path &folder)
        : real_(folder / "real"),
          alarm_(folder / "alarm"),
          recall_(folder / "recall"),
          waiting_(folder / "waiting") {
        for (const fs::path &work : {real_, alarm_, recall_}) {
            fs::remove_all(work);  // what a killed host left there may be half a file
            fs::create_directories(work);
        }
        fs::create_directories(waiting_);
    }

    /// The server refuses data of gateways and devices that it does not know.
    void Register() { registered_ = registered_ || PrePost() == 0; }

    void RealData() {
        const std::time_t now =
            std::time(nullptr);  // one sample a second: a file's name carries seconds
        Values values = Sample();
        memory_.Keep(now, values);
        Deliver(ProduceRealData(real_, now, values), SendRealData);
    }

    void Alarms() {
        std::vector<Alarm_Data_Para> alarms = memory_.TakeAlarms();
        if (!alarms.empty()) {
            Deliver(Produce(alarm_,
                            [&](char *directory, std::vector<std::string> *files) {
                                CreateAlarmDataFile(&alarms, directory, files);
                            }),
                    SendAlarmData);
        }
    }

    static void HeartBeat() { SyncHeartBeat(); }

    /// Sends again what did not arrive, oldest first, and stops at the first that fails.
    void SendAgain() {
        Register();
        for (const fs::path &file : FilesIn(waiting_)) {
            const bool isAlarm = file.filename().string().front() == 'T';
            if ((isAlarm ? SendAlarmData(file) : SendRealData(file)) != 0) {
                return;
            }
            fs::remove(file);
        }
    }

    void Recalls() {
        std::vector<recall_time_para> ranges;
        if (CheckRecall(&ranges) != 0) {
            return;
        }
        for (recall_time_para &range : ranges) {
            if (Serve(range)) {
                DeleteRecall(&range);  // what is not acknowledged is asked for again
            }
        }
    }

    bool IsDone() const { return registered_ && fs::is_empty(waiting_); }

private:
    static std::string ProduceRealData(const fs::path &folder, std::time_t time, Values &values) {
        return Produce(folder, [&](char *directory, std::vector<std::string> *files) {
            CreateRealDataFile(&values, directory, files, time);
        });
    }

    /// Sends a file and deletes it, or has it wait: its fate is the host's business alone.
    void Deliver(const std::string &path, int (*send)(const std::string &path)) {
        if (path.empty()) {
            std::cerr << "no file was produced, see /tmp/CloudLog\n";
        } else if (send(path) == 0) {
            fs::remove(path);
        } else {
            fs::rename(path, waiting_ / fs::path(path).filename());
            const auto waiting = FilesIn(waiting_);
            if (waiting.size() > kMostWaiting) {
                fs::remove(*waiting.begin());
            }
        }
    }

    bool Serve(const recall_time_para &range) {
        for (auto &[time, values] : memory_.Between(range.start, range.end)) {
            const std::string path = ProduceRealData(recall_, time, values);
            const bool arrived = !path.empty() && SendRealData(path) == 0;
            fs::remove(path);
            if (!arrived) {
                return false;
            }
        }
        return true;
    }

    fs::path real_, alarm_, recall_, waiting_;  // a job has a folder of its own
    Memory memory_;
    bool registered_ = false;  // of the start and then of one job
};

struct Job {
    std::int32_t seconds;  // 0 and less: never
    std::function<void()> work;
};

std::vector<Job> JobsOf(Host &host, const Interval_info &intervals) {
    return {{intervals.RealDataInv, [&host] { host.RealData(); }},
            {intervals.AlarmDataInv, [&host] { host.Alarms(); }},
            {intervals.HeartBeatInv, Host::HeartBeat},
            {intervals.CheckFailInv, [&host] { host.SendAgain(); }},
            {intervals.RecallInv, [&host] { host.Recalls(); }}};
}

void DoOnce(const Job &job) {
    try {
        job.work();
    } catch (const std::exception &error) {
        std::cerr << error.what() << '\n';  // the next turn may do better
    }
}

/// Each job on a thread of its own, so that an exchange of 90 seconds holds up no other.
void RunUntilSignal(const std::vector<Job> &jobs, const sigset_t &signals) {
    std::mutex mutex;
    std::condition_variable ended;
    bool ending = false;
    std::vector<std::thread> threads;
    for (const Job &job : jobs) {
        if (job.seconds <= 0) {
            continue;
        }
        threads.emplace_back([&mutex, &ended, &ending, &job] {
            std::unique_lock<std::mutex> lock(mutex);
            while (!ending) {
                lock.unlock();
                DoOnce(job);
                lock.lock();
                ended.wait_for(lock, std::chrono::seconds(job.seconds), [&] { return ending; });
            }
        });
    }
    int signal = 0;
    sigwait(&signals, &signal);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ending = true;
    }
    ended.notify_all();
    for (std::thread &thread : threads) {
        thread.join();
    }
}

/// Lets a running download end, and none begin any more.
void AwaitDownload() {
    timespec end{};
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_sec += 60;
    pthread_mutex_timedlock(&down_file_mutex, &end);
}

sigset_t BlockSignals() {
    std::signal(SIGPIPE, SIG_IGN);  // a broken TLS connection must not end the process
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // for the plug-in's threads, too
    return signals;
}

int Run(const std::string &folder, bool once) {
    if (folder.size() > kLongestFolder || folder.find("jsonz") != std::string::npos ||
        folder.find(".xmlz") != std::string::npos) {
        throw std::runtime_error("the folder's name is too long, or tells a deflated file");
    }
    const sigset_t signals = BlockSignals();
    mkdir("/tmp/uploads", 0755);  // or the first update package takes its name
    Host host(folder);

    Interval_info intervals{};
    if (Init(&intervals) != 0) {
        throw std::runtime_error("the configuration is unusable, see /tmp/CloudLog");
    }
    Interval_info never{};
    std::memset(&never, 0xFF, sizeof never);
    if (std::memcmp(&intervals, &never, sizeof never) == 0) {
        std::cerr << "the cloud service is switched off\n";
        return 0;
    }
    host.Register();
    const std::vector<Job> jobs = JobsOf(host, intervals);
    if (once) {
        for (const Job &job : jobs) {
            if (job.seconds > 0) {
                DoOnce(job);
            }
        }
    } else {
        RunUntilSignal(jobs, signals);
    }
    AwaitDownload();
    return once && !host.IsDone() ? 1 : 0;
}

}  // namespace

int main(int count, char **words) try {
    const bool once = count == 3 && std::strcmp(words[2], "once") == 0;
    if (count != 2 && !once) {
        std::cerr << "host FOLDER [once]\n";
        return 2;
    }
    return Run(words[1], once);
} catch (const std::exception &error) {
    std::cerr << error.what() << '\n';
    return 1;
}
