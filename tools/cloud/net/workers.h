#pragma once

#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <functional>

namespace corvenna::cloud {

/// The few threads on which handlers run: what computes, and what waits for a disk, must not hold
/// up the connections. Any thread may call.
class Workers {
public:
    explicit Workers(std::size_t threads);
    ~Workers();
    Workers(const Workers &) = delete;
    Workers &operator=(const Workers &) = delete;

    void Post(std::function<void()> work);
    /// Waits for what was posted.
    void Finish();

private:
    boost::asio::thread_pool threads_;
};

}  // namespace corvenna::cloud
