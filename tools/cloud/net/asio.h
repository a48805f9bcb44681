#pragma once

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/strand.hpp>
#include <chrono>

namespace corvenna::cloud {

namespace asio = boost::asio;

using Clock = std::chrono::steady_clock;
/// What belongs to one connection runs in its strand: never twice at once.
using Strand = asio::strand<asio::io_context::executor_type>;
using Socket = asio::basic_stream_socket<asio::ip::tcp, Strand>;
using Timer = asio::basic_waitable_timer<Clock, asio::wait_traits<Clock>, Strand>;

}  // namespace corvenna::cloud
