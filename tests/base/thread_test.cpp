#include "base/thread.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <future>

namespace {

std::size_t gStackBytes;
int gDetachState;
int gCreateResult;

}  // namespace

extern "C" {
int __real_pthread_attr_setstacksize(pthread_attr_t *attributes, std::size_t bytes);
int __wrap_pthread_attr_setstacksize(pthread_attr_t *attributes, std::size_t bytes);
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);

int __wrap_pthread_attr_setstacksize(pthread_attr_t *attributes, std::size_t bytes) {
    gStackBytes = bytes;
    return __real_pthread_attr_setstacksize(attributes, bytes);
}

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument) {
    if (attributes != nullptr) {
        pthread_attr_getdetachstate(attributes, &gDetachState);
    }
    return gCreateResult != 0 ? gCreateResult
                              : __real_pthread_create(thread, attributes, body, argument);
}
}

namespace corvenna::test {
namespace {

void *Fulfil(void *promise) {
    static_cast<std::promise<pthread_t> *>(promise)->set_value(pthread_self());
    return nullptr;
}

TEST(DetachedThread, RunsItsBodyWithItsArgument) {
    std::promise<pthread_t> promise;
    pthread_t handle{};
    ASSERT_TRUE(StartDetachedThread(Fulfil, &promise, &handle));
    EXPECT_NE(0, pthread_equal(handle, promise.get_future().get()));
}

TEST(DetachedThread, IsDetachedWithAStackOfTwoMebibytes) {
    std::promise<pthread_t> promise;
    ASSERT_TRUE(StartDetachedThread(Fulfil, &promise));
    promise.get_future().wait();
    EXPECT_EQ(2097152U, gStackBytes);
    EXPECT_EQ(PTHREAD_CREATE_DETACHED, gDetachState);
}

TEST(DetachedThread, SaysWhenItCannotBeCreated) {
    gCreateResult = EAGAIN;
    EXPECT_FALSE(StartDetachedThread(Fulfil, nullptr));
}

}  // namespace
}  // namespace corvenna::test
