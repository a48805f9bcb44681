#pragma once

namespace corvenna::test {

/// As long as it lives, no open file of the process can be examined. Needs a program that is linked
/// with --wrap=fstat and --wrap=fstat64.
class FailingFstat {
public:
    FailingFstat();
    ~FailingFstat();
    FailingFstat(const FailingFstat &) = delete;
    FailingFstat &operator=(const FailingFstat &) = delete;
};

}  // namespace corvenna::test
