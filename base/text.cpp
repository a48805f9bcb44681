#include "base/text.h"

#include <cstdarg>
#include <cstdio>

namespace corvenna {

void PrintText(TextField field, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vsnprintf(field.text, field.limit, format, arguments));
    va_end(arguments);
}

}  // namespace corvenna
