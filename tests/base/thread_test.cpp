#include "base/thread.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <future>

namespace {

std::size_t gStackBytes;
int gDetachState;
bool gCreated = false;

// How the calls end, 0 for as the system does.
int gInitResult = 0;
int gDetachResult = 0;
int gStackResult = 0;
int gCreateResult = 0;

}  // namespace

extern "C" {
int __real_pthread_attr_init(pthread_attr_t *attributes);
int __wrap_pthread_attr_init(pthread_attr_t *attributes);
int __real_pthread_attr_setdetachstate(pthread_attr_t *attributes, int state);
int __wrap_pthread_attr_setdetachstate(pthread_attr_t *attributes, int state);
int __real_pthread_attr_setstacksize(pthread_attr_t *attributes, std::size_t bytes);
int __wrap_pthread_attr_setstacksize(pthread_attr_t *attributes, std::size_t bytes);
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);

int __wrap_pthread_attr_init(pthread_attr_t *attributes) {
    return gInitResult != 0 ? gInitResult : __real_pthread_attr_init(attributes);
}

int __wrap_pthread_attr_setdetachstate(pthread_attr_t *attributes, int state) {
    return gDetachResult != 0 ? gDetachResult
                              : __real_pthread_attr_setdetachstate(attributes, state);
}

int __wrap_pthread_attr_setstacksize(pthread_attr_t *attributes, std::size_t bytes) {
    gStackBytes = bytes;
    return gStackResult != 0 ? gStackResult : __real_pthread_attr_setstacksize(attributes, bytes);
}

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument) {
    if (attributes != nullptr) {
        pthread_attr_getdetachstate(attributes, &gDetachState);
        gCreated = true;
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

TEST(DetachedThread, IsNotCreatedWithAttributesOtherThanItsOwn) {
    for (int *result : {&gInitResult, &gDetachResult, &gStackResult}) {
        *result = ENOMEM;
        EXPECT_FALSE(StartDetachedThread(Fulfil, nullptr));
        EXPECT_FALSE(gCreated);
        *result = 0;
    }
}

}  // namespace
}  // namespace corvenna::test
