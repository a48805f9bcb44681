#include "plugin/entry_point.h"

#include <exception>

#include "base/undisturbed.h"
#include "log/log.h"

namespace corvenna {

int RunGuarded(const char *name, int (*run)(void *body), void *body) {
    const Undisturbed whole;
    try {
        return run(body);
    } catch (const std::exception &error) {
        log_Text(kLogError, "%s: %s", name, error.what());
        return -1;
    }
}

}  // namespace corvenna
