#pragma once

#include <exception>
#include <stdexcept>

namespace corvenna::cloud {

/// What a failure means for the client whose request met it.
struct Trouble {
    int status;         ///< 503: the store is away; 507: its disk is full; 500: something else
    const char *words;  ///< for the client; the failure's own text is for the operator
    bool passes;        ///< whether the same request may succeed later
};

constexpr Trouble kStoreAway{503, "the store is away; try again", true};
constexpr Trouble kStoreFull{507, "the store's disk is full", true};
constexpr Trouble kStoreFailed{500, "the server could not store this", false};

/// A failure of an engine that knows what it means.
class StoreFailure : public std::runtime_error {
public:
    StoreFailure(const std::string &what, const Trouble &trouble)
        : std::runtime_error(what), trouble_(trouble) {}

    const Trouble &Means() const { return trouble_; }

private:
    Trouble trouble_;
};

Trouble TroubleOf(const std::exception &error);

/// Seconds after which a client may try again.
constexpr const char *kRetryAfter = "30";

}  // namespace corvenna::cloud
