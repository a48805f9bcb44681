// The three entry points whose arguments are C++ containers, for C.
#ifndef HOST_CONTAINERS_H
#define HOST_CONTAINERS_H

#include <stddef.h>
#include <stdint.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

struct point_value {
    uint32_t id;
    double value;
};

struct alarm_event {
    int32_t time;
    uint32_t id;
    double threshold;
    double value;
    int32_t type;
    int32_t flag;
};

struct time_range {
    int32_t start;
    int32_t end;
};

/* `entry` is what dlsym found for the entry point of that name. The path of the file goes to
   `path`, which is empty when none was made. -1 when memory is short or the path does not fit. */
int create_real_data_file(void *entry, const struct point_value *values, size_t count,
                          const char *folder, time_t time, char *path, size_t capacity);
int create_alarm_data_file(void *entry, const struct alarm_event *alarms, size_t count,
                           const char *folder, char *path, size_t capacity);

/* How many ranges there are, of which the first `capacity` go to `ranges`; -1 when it failed. */
int check_recall(void *entry, struct time_range *ranges, size_t capacity);

#ifdef __cplusplus
}
#endif

#endif
