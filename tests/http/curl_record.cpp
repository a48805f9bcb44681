#include "tests/http/curl_record.h"

#include <atomic>
#include <cstdarg>
#include <limits>
#include <mutex>

// The macros that check argument types would replace the names that are defined here.
#undef curl_easy_setopt

extern "C" {
CURL *__real_curl_easy_init();
void __real_curl_easy_cleanup(CURL *handle);
CURLcode __real_curl_easy_setopt(CURL *handle, CURLoption option, ...);
curl_slist *__real_curl_slist_append(curl_slist *list, const char *line);
void __real_curl_slist_free_all(curl_slist *list);
}

namespace {

struct State {
    std::mutex mutex;
    std::vector<std::string> options;
    int handlesMade = 0;
    int handlesFreed = 0;
    int listsMade = 0;
    int listsFreed = 0;
    int appended = 0;
    bool refuseHandles = false;
    int refuseHeadersFrom = std::numeric_limits<int>::max();
    int refusedOption = -1;
    CURLcode refusal = CURLE_OK;
    long timeoutMilliseconds = 0;
};

std::atomic<State *> gState{nullptr};

std::string Name(CURLoption option) {
    const curl_easyoption *known = curl_easy_option_by_id(option);
    return known != nullptr ? known->name : std::to_string(option);
}

bool IsText(CURLoption option) {
    const curl_easyoption *known = curl_easy_option_by_id(option);
    return known != nullptr && known->type == CURLOT_STRING && option != CURLOPT_POSTFIELDS;
}

std::string Shown(CURLoption option, const void *value) {
    if (value == nullptr) {
        return "null";
    }
    return IsText(option) ? static_cast<const char *>(value) : "set";
}

/// @return how the option fails, CURLE_OK when it is to be set.
CURLcode Note(CURLoption option, const std::string &value) {
    State *state = gState;
    if (state == nullptr) {
        return CURLE_OK;
    }
    const std::lock_guard<std::mutex> lock(state->mutex);
    state->options.push_back(Name(option) + "=" + value);
    return static_cast<int>(state->options.size()) == state->refusedOption + 1 ? state->refusal
                                                                               : CURLE_OK;
}

/// Sets an option unless it is the one that fails.
template <class Value>
CURLcode SetNoted(CURL *handle, CURLoption option, const std::string &shown, Value value) {
    const CURLcode refusal = Note(option, shown);
    return refusal != CURLE_OK ? refusal : __real_curl_easy_setopt(handle, option, value);
}

CURLcode SetLong(CURL *handle, CURLoption option, long value) {
    const CURLcode result = SetNoted(handle, option, std::to_string(value), value);
    const State *state = gState;
    if (option == CURLOPT_TIMEOUT && state != nullptr && state->timeoutMilliseconds > 0) {
        return __real_curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, state->timeoutMilliseconds);
    }
    return result;
}

}  // namespace

extern "C" {

CURL *__wrap_curl_easy_init();
void __wrap_curl_easy_cleanup(CURL *handle);
CURLcode __wrap_curl_easy_setopt(CURL *handle, CURLoption option, ...);
curl_slist *__wrap_curl_slist_append(curl_slist *list, const char *line);
void __wrap_curl_slist_free_all(curl_slist *list);

CURL *__wrap_curl_easy_init() {
    State *state = gState;
    if (state == nullptr) {
        return __real_curl_easy_init();
    }
    const std::lock_guard<std::mutex> lock(state->mutex);
    if (state->refuseHandles) {
        return nullptr;
    }
    ++state->handlesMade;
    return __real_curl_easy_init();
}

void __wrap_curl_easy_cleanup(CURL *handle) {
    if (State *state = gState) {
        const std::lock_guard<std::mutex> lock(state->mutex);
        ++state->handlesFreed;
    }
    __real_curl_easy_cleanup(handle);
}

// An enumeration before the dots is libcurl's own signature; clang warns of it in C++.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"
CURLcode __wrap_curl_easy_setopt(CURL *handle, CURLoption option, ...) {
    va_list arguments;
    va_start(arguments, option);
    CURLcode result = CURLE_OK;
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        result = SetLong(handle, option, va_arg(arguments, long));
    } else if (option >= CURLOPTTYPE_OFF_T && option < CURLOPTTYPE_BLOB) {
        const curl_off_t value = va_arg(arguments, curl_off_t);
        result = SetNoted(handle, option, std::to_string(value), value);
    } else {
        void *value = va_arg(arguments, void *);
        result = SetNoted(handle, option, Shown(option, value), value);
    }
    va_end(arguments);
    return result;
}
#pragma GCC diagnostic pop

curl_slist *__wrap_curl_slist_append(curl_slist *list, const char *line) {
    State *state = gState;
    if (state == nullptr) {
        return __real_curl_slist_append(list, line);
    }
    const std::lock_guard<std::mutex> lock(state->mutex);
    if (state->appended++ >= state->refuseHeadersFrom) {
        return nullptr;
    }
    state->listsMade += list == nullptr ? 1 : 0;
    return __real_curl_slist_append(list, line);
}

void __wrap_curl_slist_free_all(curl_slist *list) {
    State *state = gState;
    if (state != nullptr && list != nullptr) {
        const std::lock_guard<std::mutex> lock(state->mutex);
        ++state->listsFreed;
    }
    __real_curl_slist_free_all(list);
}
}

namespace corvenna::test {
namespace {

template <class Value>
Value Locked(Value State::*field) {
    State *state = gState;
    const std::lock_guard<std::mutex> lock(state->mutex);
    return state->*field;
}

}  // namespace

CurlRecord::CurlRecord() {
    gState = new State;
}

CurlRecord::~CurlRecord() {
    delete gState.exchange(nullptr);
}

std::vector<std::string> CurlRecord::Options() const {
    return Locked(&State::options);
}
int CurlRecord::HandlesMade() const {
    return Locked(&State::handlesMade);
}
int CurlRecord::HandlesFreed() const {
    return Locked(&State::handlesFreed);
}
int CurlRecord::ListsMade() const {
    return Locked(&State::listsMade);
}
int CurlRecord::ListsFreed() const {
    return Locked(&State::listsFreed);
}

void CurlRecord::RefuseHandles() {
    gState.load()->refuseHandles = true;
}

void CurlRecord::RefuseHeadersFrom(int call) {
    gState.load()->refuseHeadersFrom = call;
}

void CurlRecord::RefuseOption(int call, CURLcode result) {
    State *state = gState;
    state->refusedOption = call;
    state->refusal = result;
}

void CurlRecord::ReplaceTimeouts(long milliseconds) {
    gState.load()->timeoutMilliseconds = milliseconds;
}

}  // namespace corvenna::test
