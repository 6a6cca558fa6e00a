#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/event.h"

TEST(Thread, BodyWaitsForResumeAndSeesItsOwnId) {
    platform::Thread t;
    std::atomic<bool> ran{false};
    std::atomic<std::uint32_t> seen{0};
    ASSERT_TRUE(t.createSuspended([&] {
        seen = platform::currentThreadId();
        ran = true;
    }));
    EXPECT_NE(t.id(), 0u);
    EXPECT_FALSE(ran.load());
    t.resume();
    t.join();
    EXPECT_TRUE(ran.load());
    EXPECT_EQ(seen.load(), t.id());
    EXPECT_NE(t.id(), platform::currentThreadId());
    t.join();  // repeatable
}

TEST(Thread, DestroyingAnUnresumedThreadEndsIt) {
    std::atomic<bool> ran{false};
    {
        platform::Thread t;
        ASSERT_TRUE(t.createSuspended([&] { ran = true; }));
    }
    EXPECT_TRUE(ran.load());
}

TEST(ManualResetEvent, StaysSetUntilReset) {
    platform::ManualResetEvent e("EventTest");
    EXPECT_FALSE(e.wait(10));
    e.set();
    EXPECT_TRUE(e.wait(0));
    EXPECT_TRUE(e.wait(0));
    e.reset();
    EXPECT_FALSE(e.isSet());
    EXPECT_EQ(e.name(), "EventTest");
}
