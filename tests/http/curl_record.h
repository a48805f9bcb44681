#pragma once

#include <curl/curl.h>

#include <string>
#include <vector>

namespace corvenna::test {

/// What the code under test asks of libcurl, for as long as it lives; every call is passed on.
/// Needs a program linked with WRAP curl_easy_init curl_easy_cleanup curl_easy_setopt
/// curl_slist_append curl_slist_free_all.
class CurlRecord {
public:
    CurlRecord();
    ~CurlRecord();
    CurlRecord(const CurlRecord &) = delete;
    CurlRecord &operator=(const CurlRecord &) = delete;

    /// The options set so far, in order: "NAME=value", with "null" or "set" for pointers that are
    /// not texts.
    std::vector<std::string> Options() const;
    int HandlesMade() const;
    int HandlesFreed() const;
    int ListsMade() const;
    int ListsFreed() const;

    /// curl_easy_init gives null from now on.
    void RefuseHandles();
    /// curl_slist_append gives null from its call number `call` (counted from 0) on.
    void RefuseHeadersFrom(int call);
    /// Option number `call` (counted from 0) is not set, and curl_easy_setopt says so.
    void RefuseOption(int call, CURLcode result);
    /// Transfers that ask for a time-out in seconds get this one instead.
    void ReplaceTimeouts(long milliseconds);
};

}  // namespace corvenna::test
