#include "bench/fleet/recorded.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace corvenna::bench {
namespace {

std::ifstream Open(const std::string &path) {
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error(path + " cannot be read");
    }
    return file;
}

std::string Content(const std::string &path) {
    std::ifstream file = Open(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string Filled(std::string text, const std::string &place, const std::string &with) {
    for (std::size_t at = 0; (at = text.find(place, at)) != std::string::npos; at += with.size()) {
        text.replace(at, place.size(), with);
    }
    return text;
}

std::string TextOf(std::time_t second) {
    std::tm parts{};
    char text[32] = "";
    if (gmtime_r(&second, &parts) == nullptr ||
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts) == 0) {
        throw std::runtime_error("no calendar has this time");
    }
    return text;
}

}  // namespace

Recorded::Recorded(const std::string &folder)
    : registration_(Content(folder + "/gateway")),
      devices_(Content(folder + "/device")),
      document_(Content(folder + "/realdata")) {
    std::ifstream file = Open(folder + "/headers");
    for (std::string line; std::getline(file, line);) {
        headers_.push_back(line);
    }
}

std::string Recorded::Registration(const std::string &serial) const {
    return Filled(registration_, "@SERIAL@", serial);
}

std::string Recorded::Devices(const std::string &serial) const {
    return Filled(devices_, "@SERIAL@", serial);
}

std::string Recorded::Document(const std::string &serial, std::time_t second) const {
    return Filled(Filled(document_, "@SERIAL@", serial), "@TIME@", TextOf(second));
}

int Recorded::Points() const {
    constexpr char kPoint[] = "\"dblink\"";
    int points = 0;
    for (std::size_t at = 0; (at = document_.find(kPoint, at)) != std::string::npos; ++at) {
        ++points;
    }
    return points;
}

}  // namespace corvenna::bench
