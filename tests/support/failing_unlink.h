#pragma once

namespace corvenna::test {

/// As long as it lives, the process can take no name away. Needs a program that is linked with
/// --wrap=unlink.
class FailingUnlink {
public:
    FailingUnlink();
    ~FailingUnlink();
    FailingUnlink(const FailingUnlink &) = delete;
    FailingUnlink &operator=(const FailingUnlink &) = delete;
};

}  // namespace corvenna::test
