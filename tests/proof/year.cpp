// A gateway's year in a fraction of it: the clock is the program's own and pauses take no time.
// Several host threads produce, upload, ask for recalls and announce themselves, the cloud is away
// for hours every week, and at the end of each simulated day memory, descriptors, threads, log and
// bytes written are noted.
//
//     year [--format json|xml] [--days N] [--points N] [--table FILE]
//
// Fails when memory, descriptors or threads grow after the first month, or the log passes its caps.
// Runs inside of tests/support/sandbox.

#include <pthread.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "config/channel_set.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/plugin/configuration.h"
#include "tests/plugin/gateway.h"
#include "tests/proof/forked.h"
#include "tests/proof/hide_output.h"
#include "tests/support/files.h"
#include "tests/support/scripted_server.h"

namespace corvenna::test {
namespace {

constexpr std::time_t kStart = 1704067200;  // 2024-01-01 00:00:00 UTC
constexpr int kTickSeconds = 300;
constexpr int kTicksPerDay = 86400 / kTickSeconds;
constexpr int kTicksPerHour = 3600 / kTickSeconds;
constexpr int kLogWriters = 2;

/// The time of the simulation. Sleepers wake when it has passed their time.
class Clock {
public:
    std::time_t Now() const { return now_; }

    void Sleep(unsigned seconds) {
        std::unique_lock<std::mutex> lock(mutex_);
        const std::time_t until = now_ + seconds;
        ++sleepers_;
        changed_.notify_all();
        changed_.wait(lock, [&] { return now_ >= until; });
        --sleepers_;
        ++awakenings_;
    }

    /// Goes on by one tick once everybody who sleeps between ticks does.
    void Advance() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return sleepers_ == kLogWriters; });
        const long long awakened = awakenings_ + kLogWriters;
        now_ += kTickSeconds;
        changed_.notify_all();
        changed_.wait(lock, [&] { return awakenings_ == awakened && sleepers_ == kLogWriters; });
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::atomic<std::time_t> now_{kStart};
    int sleepers_ = 0;
    long long awakenings_ = 0;
};

Clock &TheClock() {
    static auto *const clock = new Clock;  // log writers sleep on it to the very end
    return *clock;
}

}  // namespace
}  // namespace corvenna::test

extern "C" {

std::time_t __wrap_time(std::time_t *result) {
    const std::time_t now = corvenna::test::TheClock().Now();
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

int __real_clock_gettime(clockid_t clock, timespec *now);
int __wrap_clock_gettime(clockid_t clock, timespec *now) {
    if (clock != CLOCK_REALTIME && clock != CLOCK_REALTIME_COARSE) {
        return __real_clock_gettime(clock, now);
    }
    *now = {corvenna::test::TheClock().Now(), 0};
    return 0;
}

int __wrap_usleep(useconds_t) {
    return 0;
}

unsigned __wrap_sleep(unsigned seconds) {
    corvenna::test::TheClock().Sleep(seconds);
    return 0;
}
}

namespace corvenna::test {
namespace {

constexpr char kFolder[] = "/tmp/data";
constexpr char kLogFolder[] = "/tmp/CloudLog";

struct Setting {
    std::string format = "json";
    int days = 365;
    unsigned points = 2000;
    std::string table;
};

struct CloudState {
    std::atomic<int> port{0};
    std::atomic<bool> away{false};
};

[[noreturn]] void ServeAs(const std::string &format, CloudState &state) {
    ScriptedServer server;
    server.KeepNoRequests();
    server.Otherwise([&](const Request &request) -> Answer {
        if (state.away) {
            return CloseAt(Stage::kRequest);
        }
        if (request.method == "GET") {
            return Reply(200, format == "json" ? R"({"node":[{"startdt":"2024-01-01 00:00:00",)"
                                                 R"("enddt":"2024-01-01 01:00:00"}]})"
                                               : R"(<data><node startdt="2024-01-01 00:00:00" )"
                                                 R"(enddt="2024-01-01 01:00:00"/></data>)");
        }
        return Reply(request.method == "DELETE" ? 204 : 200, "{}");
    });
    state.port = server.Port();
    for (;;) {
        pause();
    }
}

/// The cloud, a process of its own.
class Cloud {
public:
    explicit Cloud(const std::string &format)
        : process_([&](CloudState &state) { ServeAs(format, state); }) {
        while (process_->port == 0) {
            std::this_thread::yield();
        }
    }

    int Port() const { return process_->port; }
    void BeAway(bool away) { process_->away = away; }

private:
    Forked<CloudState> process_;
};

/// Devices of 200 points and a status point.
Real_Data_Struct MakePoints(unsigned count) {
    Real_Data_Struct values;
    CChannelSet &channels = *GetCChannelSetInstance();
    for (unsigned index = 0; index < count; ++index) {
        ST_POINTID_ATTR point{};
        point.GroupNo = 1;
        point.DevId = static_cast<std::uint8_t>(1 + index / 200);
        point.db_link = 0x01000000U | static_cast<unsigned>(point.DevId) << 16 | index % 200;
        std::snprintf(point.Name, 126, "Feeder %u Ua", index % 200);
        std::snprintf(point.EUUnits, 126, "V");
        channels.AddSamplePoint(point);
        values[point.db_link] = std::sin(index) * 100;
        values[(point.db_link & 0xFFFF0000U) | 0x0100U] = 1;
    }
    return values;
}

/// What a host keeps that could not be sent; the oldest goes when there are many.
class Unsent {
public:
    void Add(const std::string &path) {
        paths_.push_back(path);
        if (paths_.size() > 50) {
            std::remove(paths_.front().c_str());
            paths_.pop_front();
        }
    }
    template <class Send>
    void Retry(Send send) {
        for (std::size_t count = paths_.size(); count > 0; --count) {
            const std::string path = paths_.front();
            if (send(path) != 0) {
                return;
            }
            std::remove(path.c_str());
            paths_.pop_front();
        }
    }

private:
    std::deque<std::string> paths_;
};

/// The work of one host thread in one tick.
class RealDataThread {
public:
    explicit RealDataThread(Real_Data_Struct values) : values_(std::move(values)) {}
    void operator()(int /*tick*/) {
        char dir[] = "/tmp/data";
        std::vector<std::string> files;
        CreateRealDataFile(&values_, dir, &files, TheClock().Now());
        for (const std::string &file : files) {
            unsent_.Add(file);
        }
        unsent_.Retry([](std::string path) { return UploadRealDataFile(path.data()); });
    }

private:
    Real_Data_Struct values_;
    Unsent unsent_;
};

class AlarmThread {
public:
    void operator()(int tick) {
        if (tick % kTicksPerHour != 0) {
            return;
        }
        char dir[] = "/tmp/data";
        std::vector<Alarm_Data_Para> alarms(
            5, {static_cast<std::int32_t>(TheClock().Now()), 0x01010001, 100, 101.5, 1, 1});
        std::vector<std::string> files;
        CreateAlarmDataFile(&alarms, dir, &files);
        for (const std::string &file : files) {
            unsent_.Add(file);
        }
        unsent_.Retry([](const std::string &path) { return UploadAlarmDataFile(path.c_str()); });
    }

private:
    Unsent unsent_;
};

void AskForRecalls(int tick) {
    if (tick % kTicksPerHour == 0) {
        std::vector<recall_time_para> ranges;
        CheckRecall(&ranges);
        for (recall_time_para &range : ranges) {
            DeleteRecall(&range);
        }
    }
    if (tick % kTicksPerDay == 0) {
        PrePost();
    }
}

/// Runs the same tick on several threads and waits for all.
class Host {
public:
    explicit Host(std::vector<std::function<void(int)>> works) {
        pthread_barrier_init(&barrier_, nullptr, static_cast<unsigned>(works.size()) + 1);
        for (auto &work : works) {
            threads_.emplace_back([this, work = std::move(work)]() mutable {
                for (;;) {
                    pthread_barrier_wait(&barrier_);
                    if (tick_ < 0) {
                        return;
                    }
                    work(tick_);
                    pthread_barrier_wait(&barrier_);
                }
            });
        }
    }
    ~Host() {
        tick_ = -1;
        pthread_barrier_wait(&barrier_);
        for (std::thread &thread : threads_) {
            thread.join();
        }
        pthread_barrier_destroy(&barrier_);
    }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    void Work(int tick) {
        tick_ = tick;
        pthread_barrier_wait(&barrier_);
        pthread_barrier_wait(&barrier_);
    }

private:
    pthread_barrier_t barrier_;
    int tick_ = 0;
    std::vector<std::thread> threads_;
};

/// The end of a day.
struct Day {
    long residentKib;
    long descriptors;
    long threads;
    long logRows;
    long logKib;
    long writtenKib;
};

long Entries(const char *folder) {
    return static_cast<long>(ListFolder(folder).size());
}

long ResidentKib() {
    std::ifstream file("/proc/self/statm");
    long all = 0;
    long resident = 0;
    file >> all >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

long LogRows() {
    sqlite3 *database = nullptr;
    sqlite3_stmt *statement = nullptr;
    long rows = -1;
    if (sqlite3_open("/tmp/CloudLog/Cloudlog.db", &database) == SQLITE_OK &&
        sqlite3_prepare_v2(database, "SELECT COUNT(*) FROM log_tbl", -1, &statement, nullptr) ==
            SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
        rows = sqlite3_column_int(statement, 0);
    }
    sqlite3_finalize(statement);
    sqlite3_close(database);
    return rows;
}

long LogKib() {
    long bytes = 0;
    for (const std::string &name : ListFolder(kLogFolder)) {
        struct stat status {};
        if (stat((std::string(kLogFolder) + '/' + name).c_str(), &status) == 0) {
            bytes += status.st_size;
        }
    }
    return bytes / 1024;
}

/// Bytes that the process has handed to write calls: to files, since sockets are sent to.
long long WrittenBytes() {
    std::ifstream file("/proc/self/io");
    std::string name;
    long long bytes = 0;
    while (file >> name >> bytes) {
        if (name == "wchar:") {
            return bytes;
        }
    }
    return 0;
}

Day EndOfDay() {
    static long long before = 0;
    const long long written = WrittenBytes();
    const Day day{ResidentKib(),
                  Entries("/proc/self/fd"),
                  Entries("/proc/self/task"),
                  LogRows(),
                  LogKib(),
                  static_cast<long>((written - before) / 1024)};
    before = written;
    return day;
}

/// Growth from the end of the first month to the end, by a straight line through all days.
double Growth(const std::vector<Day> &days, long Day::*figure) {
    const std::size_t first = days.size() > 60 ? 30 : days.size() / 2;
    const auto count = static_cast<double>(days.size() - first);
    double x = 0;
    double y = 0;
    double xx = 0;
    double xy = 0;
    for (std::size_t i = first; i < days.size(); ++i) {
        const auto day = static_cast<double>(i - first);
        const auto value = static_cast<double>(days[i].*figure);
        x += day;
        y += value;
        xx += day * day;
        xy += day * value;
    }
    const double slope = (count * xy - x * y) / (count * xx - x * x);
    return slope * (count - 1);
}

bool Holds(const char *what, double figure, double most) {
    const bool holds = figure <= most;
    std::printf("%-44s %10.1f (at most %.0f)%s\n", what, figure, most, holds ? "" : "  TOO MUCH");
    return holds;
}

bool Judge(const std::vector<Day> &days) {
    long rows = 0;
    long log = 0;
    double written = 0;
    for (const Day &day : days) {
        rows = std::max(rows, day.logRows);
        log = std::max(log, day.logKib);
        written += static_cast<double>(day.writtenKib) / static_cast<double>(days.size());
    }
    // Five day files, each its megabyte and the batch that passed it, and the database.
    constexpr double kLogKib = 5 * 1100 + 4096;
    const bool good[] = {Holds("resident memory, growth, KiB", Growth(days, &Day::residentKib), 64),
                         Holds("descriptors, growth", Growth(days, &Day::descriptors), 0.5),
                         Holds("threads, growth", Growth(days, &Day::threads), 0.5),
                         Holds("rows of the database log", static_cast<double>(rows), 10000),
                         Holds("folder of the log, KiB", static_cast<double>(log), kLogKib)};
    std::printf("%-44s %10.1f\n", "written to files a day, KiB", written);
    return std::all_of(std::begin(good), std::end(good), [](bool one) { return one; });
}

/// Away for six hours every week.
bool IsAway(int tick) {
    const int inWeek = tick % (7 * kTicksPerDay);
    return inWeek >= 3 * kTicksPerDay && inWeek < 3 * kTicksPerDay + 6 * kTicksPerHour;
}

std::vector<Day> LiveThrough(const Setting &setting, Cloud &cloud) {
    Host host({RealDataThread(MakePoints(setting.points)), AlarmThread(), AskForRecalls});
    std::vector<Day> days;
    for (int tick = 0; tick < setting.days * kTicksPerDay; ++tick) {
        cloud.BeAway(IsAway(tick));
        host.Work(tick);
        TheClock().Advance();
        if (tick % kTicksPerDay == kTicksPerDay - 1) {
            days.push_back(EndOfDay());
        }
    }
    return days;
}

void WriteTable(const std::vector<Day> &days, const std::string &path) {
    std::ofstream table(path);
    table << "day\tresident KiB\tdescriptors\tthreads\tlog rows\tlog KiB\twritten KiB\n";
    for (std::size_t i = 0; i < days.size(); ++i) {
        const Day &day = days[i];
        table << i + 1 << '\t' << day.residentKib << '\t' << day.descriptors << '\t' << day.threads
              << '\t' << day.logRows << '\t' << day.logKib << '\t' << day.writtenKib << '\n';
    }
}

void ShowAgain(int output) {
    std::fflush(stdout);
    dup2(output, STDOUT_FILENO);
    close(output);
}

int Run(const Setting &setting) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    Cloud cloud(setting.format);
    WriteFile(std::string(kFolder) + "/.folder", "");
    GatewayOn(cloud.Port(), setting.format).Write();
    WriteFile("/quorvane/Config/Channel-template.xml", "<ChannelConfig/>");
    const int output = HideOutput();
    Interval_info intervals;
    if (Init(&intervals) != 0) {
        std::fputs("Init failed\n", stderr);
        return 2;
    }
    const std::vector<Day> days = LiveThrough(setting, cloud);
    ShowAgain(output);
    if (!setting.table.empty()) {
        WriteTable(days, setting.table);
    }
    std::printf("%d days of %u points in %s\n", setting.days, setting.points,
                setting.format.c_str());
    return Judge(days) ? 0 : 1;
}

}  // namespace
}  // namespace corvenna::test

int main(int argc, char **argv) {
    CLI::App options("A gateway's year.");
    corvenna::test::Setting setting;
    options.add_option("--format", setting.format)->check(CLI::IsMember({"json", "xml"}));
    options.add_option("--days", setting.days)->check(CLI::Range(4, 3650));
    options.add_option("--points", setting.points)->check(CLI::Range(1, 40000));
    options.add_option("--table", setting.table, "the figures of each day go there");
    CLI11_PARSE(options, argc, argv);
    return corvenna::test::Run(setting);
}
