#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include "tests/http/twins.h"
#include "tests/support/scripted_server.h"

namespace corvenna::test {
namespace {

TEST(Randomness, ThatOnceFailedDoesNotEndTlsForGood) {
    ScriptedServer server(Protocol::kHttps);
    server.Otherwise([](const Request &) { return Reply(200); });
    auto frame = MemoryFrame(server.Url("/list"), "");
    ASSERT_EQ(kHttpsTwin.get(&frame), 0);
    // As it is left when it is renewed and finds no memory.
    ASSERT_EQ(EVP_RAND_uninstantiate(RAND_get0_primary(nullptr)), 1);
    ASSERT_EQ(RAND_status(), 0);
    EXPECT_EQ(kHttpsTwin.get(&frame), 0);
}

}  // namespace
}  // namespace corvenna::test
