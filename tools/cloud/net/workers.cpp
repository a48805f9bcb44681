#include "tools/cloud/net/workers.h"

#include <boost/asio/post.hpp>

namespace corvenna::cloud {

Workers::Workers(std::size_t threads) : threads_(threads) {}

Workers::~Workers() {
    Finish();
}

void Workers::Post(std::function<void()> work) {
    boost::asio::post(threads_, std::move(work));
}

void Workers::Finish() {
    threads_.join();
}

}  // namespace corvenna::cloud
