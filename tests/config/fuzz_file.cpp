#include "tests/config/fuzz_file.h"

#include <libxml/xmlerror.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

extern "C" {
int __wrap_usleep(useconds_t microseconds);
int __wrap_log_Text(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));
int __wrap_log_DB(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

int __wrap_usleep(useconds_t /*microseconds*/) {
    return 0;
}

int __wrap_log_Text(int /*level*/, const char *format, ...) {
    char text[2048];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return 0;
}

int __wrap_log_DB(int /*level*/, const char * /*format*/, ...) {
    return 0;
}
}

namespace corvenna::test {
namespace {

void IgnoreXmlError(void * /*context*/, const char * /*format*/, ...) {}

bool Silence() {
    xmlSetGenericErrorFunc(nullptr, IgnoreXmlError);
    return std::freopen("/dev/null", "w", stdout) != nullptr;
}

}  // namespace

FuzzFile::FuzzFile(const std::uint8_t *data, std::size_t size)
    : descriptor_(memfd_create("input", MFD_CLOEXEC)),
      path_("/proc/self/fd/" + std::to_string(descriptor_)) {
    static const bool silent = Silence();
    if (!silent || descriptor_ < 0 ||
        write(descriptor_, data, size) != static_cast<ssize_t>(size)) {
        std::abort();
    }
}

FuzzFile::~FuzzFile() {
    close(descriptor_);
}

}  // namespace corvenna::test
