// The library's own code, compiled once: with it in every file that uses it, building takes several
// times as long.
#include <boost/asio/impl/src.hpp>
#include <boost/asio/ssl/impl/src.hpp>
