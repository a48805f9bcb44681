#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace corvenna::bench {

/// What a gateway with the plug-in sent, from a folder of bench/fleet/recorder.py, with serial
/// number and time left open. Nothing of it changes once it is there: any thread may call.
class Recorded {
public:
    /// Throws std::runtime_error where something is missing.
    explicit Recorded(const std::string &folder);

    std::string Registration(const std::string &serial) const;
    std::string Devices(const std::string &serial) const;
    std::string Document(const std::string &serial, std::time_t second) const;
    /// Lines of the head, without those of one connection or one document.
    const std::vector<std::string> &Headers() const { return headers_; }
    /// Of a document.
    int Points() const;

private:
    std::string registration_, devices_, document_;
    std::vector<std::string> headers_;
};

}  // namespace corvenna::bench
