// A small host in C: everything on one thread, by due times. It loads the plug-in at run time and
// takes values from a file that whatever polls the devices writes.
//
//     host LIBRARY VALUES FOLDER          until SIGINT or SIGTERM
//     host LIBRARY VALUES FOLDER once     each job once; 0 when nothing is left waiting
//
// A line of VALUES is "DATAID VALUE", or "DATAID VALUE LIMIT" for a point with an upper limit.
// Every configured point needs its line, and every device one for its status (DATAID ends in 0100).
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <inttypes.h>
#include <pthread.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "containers.h"

enum { kMostPoints = 512, kMostSamples = 60, kMostRanges = 16, kMostWaiting = 1000 };

// ---- The plug-in ----

/// Interval_info of plugin/plugin.h: five times 32 bits without gaps.
struct intervals {
    int32_t real_data, alarm_data, heart_beat, check_fail, recall;
};

static struct {
    int (*init)(struct intervals *);
    int (*pre_post)(void);
    int (*sync_heart_beat)(void);
    int (*upload_real_data_file)(char *);
    int (*upload_alarm_data_file)(const char *);
    int (*delete_recall)(struct time_range *);
    int (*log_text)(int, const char *, ...);
    pthread_mutex_t *down_file_mutex;
    void *create_real_data_file, *create_alarm_data_file, *check_recall;  // by containers.cpp
} plugin;

static bool load_plugin(const char *path) {
    const struct {
        const char *name;
        void *target;
    } names[] = {
        {"Init", &plugin.init},
        {"PrePost", &plugin.pre_post},
        {"SyncHeartBeat", &plugin.sync_heart_beat},
        {"UploadRealDataFile", &plugin.upload_real_data_file},
        {"UploadAlarmDataFile", &plugin.upload_alarm_data_file},
        {"DeleteRecall", &plugin.delete_recall},
        {"log_Text", &plugin.log_text},
        {"down_file_mutex", &plugin.down_file_mutex},
        {"CreateRealDataFile", &plugin.create_real_data_file},
        {"CreateAlarmDataFile", &plugin.create_alarm_data_file},
        {"CheckRecall", &plugin.check_recall},
    };
    void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    for (size_t i = 0; library != NULL && i < sizeof names / sizeof *names; ++i) {
        void *found = dlsym(library, names[i].name);
        if (found == NULL) {
            library = NULL;
        }
        memcpy(names[i].target, &found, sizeof found);
    }
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
    }
    return library != NULL;
}

// ---- Samples, the newest ones for recalls ----

struct sample {
    time_t time;
    size_t count;
    struct point_value values[kMostPoints];
};
static struct sample samples[kMostSamples];
static size_t sampled;

static struct alarm_event alarms[kMostPoints];
static size_t alarm_count;

static void raise_alarm(time_t time, uint32_t id, double value, double limit) {
    static uint32_t over[kMostPoints];
    static size_t over_count;
    size_t at = 0;
    while (at < over_count && over[at] != id) {
        ++at;
    }
    const bool was = at<over_count, is = value> limit;
    if (was == is || (is && over_count == kMostPoints) || alarm_count == kMostPoints) {
        return;
    }
    if (is) {
        over[over_count++] = id;
    } else {
        over[at] = over[--over_count];
    }
    alarms[alarm_count++] = (struct alarm_event){(int32_t)time, id, limit, value, 1, is};
}

/// @return the new sample; null when the values cannot be read.
static struct sample *take_sample(const char *path) {
    FILE *file = fopen(path, "r");
    if (file == NULL) {
        perror(path);
        return NULL;
    }
    struct sample *sample = &samples[sampled++ % kMostSamples];
    *sample = (struct sample){.time = time(NULL)};
    char line[128];
    while (sample->count < kMostPoints && fgets(line, sizeof line, file) != NULL) {
        struct point_value point;
        double limit = 0;
        const int fields = sscanf(line, "%8" SCNx32 " %lf %lf", &point.id, &point.value, &limit);
        if (fields >= 2) {
            sample->values[sample->count++] = point;
        }
        if (fields == 3) {
            raise_alarm(sample->time, point.id, point.value, limit);
        }
    }
    if (sample->count == kMostPoints && fgets(line, sizeof line, file) != NULL) {
        fprintf(stderr, "%s: what comes after %d values is left out\n", path, kMostPoints);
    }
    fclose(file);
    return sample;
}

// ---- Files ----

static char work[128], waiting[128];  // folders
static bool registered;

static int send_file(char *path) {
    const char *name = strrchr(path, '/') + 1;
    return *name == 'T' ? plugin.upload_alarm_data_file(path) : plugin.upload_real_data_file(path);
}

static int by_name(const void *left, const void *right) {
    return strcmp(*(char *const *)left + 1, *(char *const *)right + 1);
}

/// The names in a folder, oldest file first; to be freed, each and together.
static size_t list_files(const char *path, char ***names) {
    size_t count = 0;
    *names = calloc(kMostWaiting, sizeof **names);
    DIR *folder = *names != NULL ? opendir(path) : NULL;
    const struct dirent *entry;
    while (folder != NULL && count < kMostWaiting && (entry = readdir(folder)) != NULL) {
        if (*entry->d_name != '.' && ((*names)[count] = strdup(entry->d_name)) != NULL) {
            ++count;
        }
    }
    if (folder != NULL) {
        closedir(folder);
        qsort(*names, count, sizeof **names, by_name);
    }
    return count;
}

static void free_names(char **names, size_t count) {
    while (count > 0) {
        free(names[--count]);
    }
    free(names);
}

/// Deletes the oldest files, so that no more than `most` stay.
static void thin_out(const char *folder, size_t most) {
    char **names;
    const size_t count = list_files(folder, &names);
    for (size_t i = 0; i + most < count; ++i) {
        char path[sizeof waiting + 64];
        snprintf(path, sizeof path, "%s/%s", folder, names[i]);
        unlink(path);
    }
    free_names(names, count);
}

/// Sends a file and deletes it, or has it wait: its fate is the host's business alone.
static void deliver(char *path) {
    char target[sizeof waiting + 64];
    if (*path == '\0') {
        fprintf(stderr, "no file was produced, see /tmp/CloudLog\n");
    } else if (send_file(path) == 0) {
        unlink(path);
    } else {
        thin_out(waiting, kMostWaiting - 1);
        snprintf(target, sizeof target, "%s%s", waiting, strrchr(path, '/'));
        if (rename(path, target) != 0) {
            perror(target);
        }
    }
}

/// An uncompressed JSON file that cannot be opened would stop the process.
static bool can_write(void) {
    if (access(work, W_OK | X_OK) == 0) {
        return true;
    }
    perror(work);
    return false;
}

// ---- Jobs ----

static const char *values_path;

static void send_real_data(void) {
    char path[256] = "";
    const struct sample *sample = take_sample(values_path);
    if (sample != NULL && can_write()) {
        create_real_data_file(plugin.create_real_data_file, sample->values, sample->count, work,
                              sample->time, path, sizeof path);
        deliver(path);
    }
}

static void send_alarms(void) {
    char path[256] = "";
    if (alarm_count > 0 && can_write()) {
        create_alarm_data_file(plugin.create_alarm_data_file, alarms, alarm_count, work, path,
                               sizeof path);
        alarm_count = 0;
        deliver(path);
    }
}

static void heart_beat(void) {
    plugin.sync_heart_beat();
}

/// What did not arrive, oldest first, until one fails again.
static void send_again(void) {
    registered = registered || plugin.pre_post() == 0;
    char **names;
    const size_t count = list_files(waiting, &names);
    for (size_t i = 0; i < count; ++i) {
        char path[sizeof waiting + 64];
        snprintf(path, sizeof path, "%s/%s", waiting, names[i]);
        if (send_file(path) != 0) {
            break;
        }
        unlink(path);
    }
    free_names(names, count);
}

static bool serve(const struct time_range *range) {
    for (size_t i = 0; i < kMostSamples; ++i) {
        const struct sample *sample = &samples[i];
        if (sample->count == 0 || sample->time < range->start || sample->time > range->end) {
            continue;
        }
        char path[256] = "";
        if (!can_write() ||
            create_real_data_file(plugin.create_real_data_file, sample->values, sample->count, work,
                                  sample->time, path, sizeof path) != 0 ||
            *path == '\0') {
            return false;
        }
        const bool arrived = send_file(path) == 0;
        unlink(path);
        if (!arrived) {
            return false;
        }
    }
    return true;
}

static void serve_recalls(void) {
    struct time_range ranges[kMostRanges];
    const int count = check_recall(plugin.check_recall, ranges, kMostRanges);
    for (int i = 0; i < count && i < kMostRanges; ++i) {
        if (serve(&ranges[i])) {
            plugin.delete_recall(&ranges[i]);  // what is not acknowledged is asked for again
        }
    }
}

// ---- Time ----

struct job {
    int32_t seconds;  // 0 and less: never
    void (*work)(void);
    time_t due;
};

static time_t now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec;
}

/// Does what is due. @return when the next job is.
static time_t do_due(struct job *jobs, size_t count) {
    time_t next = now() + 3600;
    for (size_t i = 0; i < count; ++i) {
        if (jobs[i].seconds <= 0) {
            continue;
        }
        if (jobs[i].due <= now()) {
            jobs[i].work();
            jobs[i].due = now() + jobs[i].seconds;
        }
        next = jobs[i].due < next ? jobs[i].due : next;
    }
    return next;
}

static void run_until_signal(struct job *jobs, size_t count, const sigset_t *signals) {
    for (;;) {
        const time_t left = do_due(jobs, count) - now();
        const struct timespec pause = {left > 0 ? left : 0, 0};
        if (sigtimedwait(signals, NULL, &pause) > 0) {
            return;
        }
    }
}

/// Lets a running download end, and none begin any more.
static void await_download(void) {
    struct timespec end;
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_sec += 60;
    pthread_mutex_timedlock(plugin.down_file_mutex, &end);
}

// ---- Start ----

/// The plug-in keeps paths of up to 126 bytes; a name takes 21 of them, the folder below 8.
static bool make_folders(const char *folder) {
    if (strlen(folder) > 90 || strstr(folder, "jsonz") != NULL || strstr(folder, ".xmlz") != NULL) {
        fprintf(stderr, "the folder's name is too long, or tells a deflated file\n");
        return false;
    }
    snprintf(work, sizeof work, "%s/work", folder);
    snprintf(waiting, sizeof waiting, "%s/waiting", folder);
    mkdir("/tmp/uploads", 0755);  // or the first update package takes its name
    mkdir(folder, 0755);
    if ((mkdir(work, 0755) != 0 && errno != EEXIST) ||
        (mkdir(waiting, 0755) != 0 && errno != EEXIST)) {
        perror(folder);
        return false;
    }
    thin_out(work, 0);  // what a killed host left there may be half a file
    return true;
}

static sigset_t block_signals(void) {
    sigset_t signals;
    signal(SIGPIPE, SIG_IGN);  // a broken TLS connection must not end the process
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, NULL);  // for the plug-in's threads, too
    return signals;
}

static int run(const struct intervals *schedule, bool once, const sigset_t *signals) {
    struct job jobs[] = {{schedule->real_data, send_real_data, 0},
                         {schedule->alarm_data, send_alarms, 0},
                         {schedule->heart_beat, heart_beat, 0},
                         {schedule->check_fail, send_again, 0},
                         {schedule->recall, serve_recalls, 0}};
    const size_t count = sizeof jobs / sizeof *jobs;
    registered = plugin.pre_post() == 0;
    plugin.log_text(3, "host: %s", registered ? "registered" : "not registered");
    if (!once) {
        run_until_signal(jobs, count, signals);
        await_download();
        return 0;
    }
    do_due(jobs, count);
    await_download();
    char **names;
    const size_t left = list_files(waiting, &names);
    free_names(names, left);
    return registered && left == 0 ? 0 : 1;
}

int main(int count, char **words) {
    const bool once = count == 5 && strcmp(words[4], "once") == 0;
    if (count != 4 && !once) {
        fprintf(stderr, "host LIBRARY VALUES FOLDER [once]\n");
        return 2;
    }
    values_path = words[2];
    const sigset_t signals = block_signals();
    if (!make_folders(words[3]) || !load_plugin(words[1])) {
        return 1;
    }
    struct intervals schedule;
    if (plugin.init(&schedule) != 0) {
        fprintf(stderr, "the configuration is unusable, see /tmp/CloudLog\n");
        return 1;
    }
    const struct intervals never = {-1, -1, -1, -1, -1};
    if (memcmp(&schedule, &never, sizeof never) == 0) {
        fprintf(stderr, "the cloud service is switched off\n");
        return 0;
    }
    return run(&schedule, once, &signals);
}
