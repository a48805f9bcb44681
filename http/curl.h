#pragma once

#include <curl/curl.h>

#include <memory>

#include "base/handle.h"
#include "http/outcome.h"

namespace corvenna {

/// Owns an easy handle.
using CurlHandle = std::unique_ptr<CURL, FreedBy<curl_easy_cleanup>>;

/// libcurl's text for how a transfer ended.
inline const char *ErrorText(const Outcome &outcome) {
    return curl_easy_strerror(static_cast<CURLcode>(outcome.transfer));
}

/// Owns the header lines that a request sets itself. Must live until the transfer has ended.
class HeaderList {
public:
    /// Copies a line to the end of the list.
    void Append(const char *line) {
        // Null when memory is short; the list so far is then still alive and still ours.
        curl_slist *longer = curl_slist_append(list_.get(), line);
        if (longer == nullptr) {
            complete_ = false;
            return;
        }
        static_cast<void>(list_.release());
        list_.reset(longer);
    }

    /// Null when no line was appended.
    curl_slist *Get() const { return list_.get(); }
    /// Whether every line found room.
    bool Complete() const { return complete_; }
    void Free() { list_.reset(); }

private:
    std::unique_ptr<curl_slist, FreedBy<curl_slist_free_all>> list_;
    bool complete_ = true;
};

}  // namespace corvenna
