#include "tools/cloud/http/site.h"

#include <atomic>

namespace corvenna::cloud {

class Reply::Once {
public:
    explicit Once(std::function<void(bool answered)> send) : send_(std::move(send)) {}
    ~Once() { Send(false); }
    Once(const Once &) = delete;
    Once &operator=(const Once &) = delete;

    void Send(bool answered) {
        if (!sent_.exchange(true)) {
            send_(answered);
            send_ = nullptr;  // with the connection that it holds
        }
    }

private:
    std::function<void(bool answered)> send_;
    std::atomic<bool> sent_{false};
};

Reply::Reply(std::function<void(bool answered)> send)
    : once_(std::make_shared<Once>(std::move(send))) {}

void Reply::operator()() const {
    once_->Send(true);
}

}  // namespace corvenna::cloud
