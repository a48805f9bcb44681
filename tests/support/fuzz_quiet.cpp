// What every fuzz target is linked with: no pauses, nothing queued for a log (the messages are made
// all the same, so that their arguments are read), nothing printed.

#include <libxml/xmlerror.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

namespace {

void IgnoreXmlError(void * /*context*/, const char * /*format*/, ...) {}

__attribute__((format(printf, 1, 0))) int MakeMessage(const char *format, va_list arguments) {
    char text[2048];
    static_cast<void>(std::vsnprintf(text, sizeof text, format, arguments));
    return 1;
}

}  // namespace

extern "C" {
int LLVMFuzzerInitialize(int *argc, char ***argv);
int __wrap_usleep(useconds_t microseconds);
int __wrap_log_Text(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));
int __wrap_log_DB(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    xmlSetGenericErrorFunc(nullptr, IgnoreXmlError);
    return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

int __wrap_usleep(useconds_t /*microseconds*/) {
    return 0;
}

int __wrap_log_Text(int /*level*/, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = MakeMessage(format, arguments);
    va_end(arguments);
    return result;
}

int __wrap_log_DB(int /*level*/, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = MakeMessage(format, arguments);
    va_end(arguments);
    return result;
}
}
