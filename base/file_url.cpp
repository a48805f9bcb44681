#include "base/file_url.h"

#include <strings.h>

namespace corvenna {

const char *WithoutScheme(const char *name, std::initializer_list<std::string_view> schemes) {
    for (const std::string_view scheme : schemes) {
        if (strncasecmp(name, scheme.data(), scheme.size()) == 0) {
            return name + scheme.size() - 1;
        }
    }
    return name;
}

}  // namespace corvenna
