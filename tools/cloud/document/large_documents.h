#pragma once

#include <malloc.h>

#include <condition_variable>
#include <mutex>

namespace corvenna::cloud {

/// Lets one large document at a time be read and stored, so that many of them at once take no more
/// memory than one. Any thread may call.
class LargeDocuments {
public:
    /// Counts from Enter until it goes; any thread may let it go.
    class Pass {
    public:
        Pass() = default;
        ~Pass() {
            if (documents_ != nullptr) {
                documents_->Leave();
            }
        }
        Pass(const Pass &) = delete;
        Pass &operator=(const Pass &) = delete;

        /// Waits until nobody else is inside. Not for a pass that is inside already.
        void Enter(LargeDocuments &documents) {
            documents.Wait();
            documents_ = &documents;
        }

    private:
        LargeDocuments *documents_ = nullptr;
    };

private:
    void Wait() {
        std::unique_lock lock(mutex_);
        left_.wait(lock, [this] { return !inside_; });
        inside_ = true;
    }
    void Leave() {
        malloc_trim(0);  // what the document took goes back to the system before the next one comes
        {
            const std::lock_guard lock(mutex_);
            inside_ = false;
        }
        left_.notify_one();
    }

    std::mutex mutex_;
    std::condition_variable left_;
    bool inside_ = false;
};

}  // namespace corvenna::cloud
