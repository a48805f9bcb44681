#include "plugin/last_name.h"

#include <cstring>

char *getlastname(const char *path, char *dst) {
    const char *slash = std::strrchr(path, '/');
    const char *name = slash != nullptr ? slash + 1 : path;
    std::memmove(dst, name, std::strlen(name) + 1);
    return dst;
}
