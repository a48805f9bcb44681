#pragma once

#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/optional.hpp>
#include <cstdint>
#include <string>

namespace corvenna::cloud {

/// A body that takes the memory of what has come, not of what was announced.
struct GrowingBody {
    using value_type = std::string;

    class reader {  // the library's name
    public:
        template <bool isRequest, class Fields>
        reader(boost::beast::http::header<isRequest, Fields> & /*head*/, value_type &body)
            : body_(body) {}

        void init(const boost::optional<std::uint64_t> & /*length*/,
                  boost::system::error_code &error) {
            error = {};
        }

        template <class Buffers>
        std::size_t put(const Buffers &buffers, boost::system::error_code &error) {
            error = {};
            std::size_t taken = 0;
            for (const auto buffer : boost::beast::buffers_range_ref(buffers)) {
                body_.append(static_cast<const char *>(buffer.data()), buffer.size());
                taken += buffer.size();
            }
            return taken;
        }

        void finish(boost::system::error_code &error) { error = {}; }

    private:
        value_type &body_;
    };
};

}  // namespace corvenna::cloud
