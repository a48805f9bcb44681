#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace corvenna::stand_in {

/// Appends a line to the record, whole or not at all. Any thread may. Nothing without a file to
/// record into.
void Record(const std::string &line);

/// One call of an entry point: a line when it begins and one when it ends, so that a call that
/// never returns is known too.
class Call {
public:
    explicit Call(const char *name);
    ~Call();
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

    // What is known of it when it begins.
    Call &Say(const char *fact, const std::string &value);
    Call &Point(const char *fact, const void *pointer);

    /// Writes the first line; what is said later goes with the second.
    void Begin();
    int End(int result);

private:
    std::string Line(const char *when);

    const char *name_;
    std::uint64_t number_;
    std::vector<std::pair<std::string, std::string>> facts_;
    int result_ = 0;
};

/// Microseconds of a clock that does not jump.
std::int64_t Now();

/// A word of the environment; empty when it is not there.
std::string Environment(const char *name);

}  // namespace corvenna::stand_in
