#include "bench/fleet/sender.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <thread>

namespace corvenna::bench {
namespace {

constexpr std::chrono::milliseconds kBreath{100};  // before a request is sent again
constexpr std::time_t kBegin = 1'700'006'400;
constexpr long kStored = 200;
constexpr long kServed = 204;
constexpr long kStoredAndFilesWait = 426;

bool IsArrival(long status) {
    return status == kStored || status == kServed || status == kStoredAndFilesWait;
}

std::string SerialOf(int number) {
    char text[32];
    std::snprintf(text, sizeof text, "BENCH%03d", number);
    return text;
}

std::size_t Keep(char *data, std::size_t size, std::size_t count, void *answer) {
    static_cast<std::string *>(answer)->append(data, size * count);
    return size * count;
}

/// The first value of a key in an answer.
std::string ValueOf(const std::string &answer, const std::string &key) {
    const std::string before = "\"" + key + "\":\"";
    const std::size_t found = answer.find(before);
    if (found == std::string::npos) {
        throw std::runtime_error("no " + key + " in the answer " + answer);
    }
    const std::size_t begin = found + before.size();
    return answer.substr(begin, answer.find('"', begin) - begin);
}

std::string FileStatus(const std::string &md5, int status) {
    return R"({"node":{"md5":")" + md5 + R"(","status":")" + std::to_string(status) + "\"}}";
}

}  // namespace

void Tally::Add(const Tally &other) {
    milliseconds.insert(milliseconds.end(), other.milliseconds.begin(), other.milliseconds.end());
    again += other.again;
    documents += other.documents;
    ended += other.ended;
}

const Sender::Work Sender::kWorks[] = {
    {"documents", &Sender::SendDocuments},
    {"registration", &Sender::Register},
    {"offers", &Sender::TakeOffer},
    {"recalls", &Sender::ServeRecall},
};

bool Sender::Knows(const std::string &work) {
    for (const Work &row : kWorks) {
        if (work == row.name) {
            return true;
        }
    }
    return false;
}

Sender::Sender(const Settings &settings, const Recorded &recorded, int number)
    : settings_(settings),
      recorded_(recorded),
      number_(number),
      serial_(SerialOf(number)),
      address_("http://127.0.0.1:" + std::to_string(settings.port)),
      handle_(curl_easy_init()) {
    if (!handle_) {
        throw std::bad_alloc();
    }
    Set(CURLOPT_WRITEFUNCTION, &Keep);
    Set(CURLOPT_WRITEDATA, &answer_);
    Set(CURLOPT_NOSIGNAL, 1L);
    Set(CURLOPT_FORBID_REUSE, 1L);
    Set(CURLOPT_NOPROXY, "*");
    Set(CURLOPT_TIMEOUT, 90L);
}

void Sender::Run() {
    for (const Work &row : kWorks) {
        if (settings_.work == row.name) {
            (this->*row.run)();
        }
    }
}

template <class T>
void Sender::Set(CURLoption option, T value) {
    if (curl_easy_setopt(handle_.get(), option, value) != CURLE_OK) {
        throw std::runtime_error("libcurl does not take an option");
    }
}

Sender::Headers Sender::HeadersOf(const Request &request) const {
    std::vector<std::string> lines = recorded_.Headers();
    lines.emplace_back("Expect:");
    if (request.isDocument) {
        lines.push_back("XVane-Time: " + std::to_string(std::time(nullptr)));
    }
    Headers headers;
    for (const std::string &line : lines) {
        curl_slist *longer = curl_slist_append(headers.get(), line.c_str());
        if (longer == nullptr) {
            throw std::bad_alloc();
        }
        static_cast<void>(headers.release());
        headers.reset(longer);
    }
    return headers;
}

/// What a gateway's start sends, once.
void Sender::Register() {
    Tell({"POST", "/gateway", recorded_.Registration(serial_)});
    Tell({"POST", "/device/" + serial_, recorded_.Devices(serial_)});
    Tell({"GET", "/calldata/" + serial_, ""});
    Tell({"GET", "/downfile/" + serial_, ""});
    ++tally_.ended;
}

void Sender::SendDocuments() {
    const auto begin = Clock::now();
    for (int number = 0; number < settings_.documents && WaitForTurn(number, begin); ++number) {
        SendDocument(number);
    }
}

/// A document is answered with 426; then the file is asked for, begun, fetched and done.
void Sender::TakeOffer() {
    if (SendDocument(0) != kStoredAndFilesWait) {
        throw std::runtime_error("no file waits for " + serial_);
    }
    Tell({"GET", "/downfile/" + serial_, ""});
    const std::string md5 = ValueOf(answer_, "md5");
    const std::string file = ValueOf(answer_, "file");
    Tell({"PUT", "/downfile/" + serial_, FileStatus(md5, 1)});
    Tell({"GET", "/" + file, ""});
    Tell({"PUT", "/downfile/" + serial_, FileStatus(md5, 2)});
    ++tally_.ended;
}

/// All documents, and then the word that this was the range.
void Sender::ServeRecall() {
    Tell({"GET", "/calldata/" + serial_, ""});
    const std::string body = R"({"node":{"startdt":")" + ValueOf(answer_, "startdt") +
                             R"(","enddt":")" + ValueOf(answer_, "enddt") + "\"}}";
    SendDocuments();
    Tell({"DELETE", "/calldata/" + serial_, body});
    ++tally_.ended;
}

/// Gateways that keep a rhythm are spread over it. @return false when the time is over; one
/// document is sent in any case.
bool Sender::WaitForTurn(int number, Clock::time_point begin) {
    using Seconds = std::chrono::duration<double>;
    const double phase = static_cast<double>(number_ - 1) / settings_.senders;
    const Seconds turn(settings_.rhythm * (number + phase));
    if (number > 0 && settings_.seconds > 0 &&
        std::max(Seconds(Clock::now() - begin), turn) >= Seconds(settings_.seconds)) {
        return false;
    }
    if (settings_.rhythm > 0) {
        std::this_thread::sleep_until(begin + std::chrono::duration_cast<Clock::duration>(turn));
    }
    return true;
}

/// @return the status.
long Sender::SendDocument(int number) {
    const std::time_t second = kBegin + settings_.first + number * settings_.step;
    const long status =
        Tell({"POST", "/realdata/" + serial_, recorded_.Document(serial_, second), true});
    ++tally_.documents;
    return status;
}

/// @return the status with which it arrived.
long Sender::Tell(const Request &request) {
    const auto began = Clock::now();
    long status = Attempt(request);
    for (; !IsArrival(status); status = Attempt(request)) {
        ++tally_.again;
        std::this_thread::sleep_for(kBreath);
    }
    const std::chrono::duration<double, std::milli> took = Clock::now() - began;
    tally_.milliseconds.push_back(took.count());
    return status;
}

/// @return the status, 0 when there was none.
long Sender::Attempt(const Request &request) {
    const Headers headers = HeadersOf(request);
    const std::string url = address_ + request.path;
    answer_.clear();
    Set(CURLOPT_HTTPHEADER, headers.get());
    Set(CURLOPT_URL, url.c_str());
    if (request.body.empty()) {
        Set(CURLOPT_HTTPGET, 1L);
    } else {
        Set(CURLOPT_POSTFIELDS, request.body.c_str());
        Set(CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
    }
    Set(CURLOPT_CUSTOMREQUEST, request.method);
    long status = 0;
    return curl_easy_perform(handle_.get()) == CURLE_OK &&
                   curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status) == CURLE_OK
               ? status
               : 0;
}

}  // namespace corvenna::bench
