#include "tests/message/fuzz_answer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    return corvenna::test::FuzzAnswer(corvenna::test::kAnswers[0], data, size);
}
