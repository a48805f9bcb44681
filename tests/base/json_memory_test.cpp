#include <gtest/gtest.h>

#include <new>

#include "base/json.h"
#include "tests/support/failing_allocations.h"

namespace corvenna::test {
namespace {

void *GrowWithoutMemory(void *block) {
    const FailingAllocations failure(1, Failing::kOne);
    return JsonMemory::Realloc(block, 1, 2);
}

TEST(Json, WithoutMemoryThereIsAnExceptionAndNoNull) {
    EXPECT_THROW(GrowWithoutMemory(nullptr), std::bad_alloc);
    void *const block = JsonMemory::Malloc(1);
    EXPECT_THROW(GrowWithoutMemory(block), std::bad_alloc);
    EXPECT_EQ(JsonMemory::Realloc(block, 1, 0), nullptr) << "and the block is free";
}

}  // namespace
}  // namespace corvenna::test
