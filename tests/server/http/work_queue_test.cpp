#include "http/work_queue.h"

#include <atomic>
#include <gtest/gtest.h>
#include <latch>

using tarn::server::WorkQueue;

TEST(WorkQueue, RefusesWhatWouldBeOneTooMany) {
    std::latch begun(1);
    std::latch mayEnd(1);
    std::atomic<int> done = 0;
    WorkQueue queue(1, 2);
    ASSERT_TRUE(queue.tryPush([&] {
        begun.count_down();
        mayEnd.wait();
        ++done;
    }));
    begun.wait();
    EXPECT_TRUE(queue.tryPush([&] { ++done; }));
    EXPECT_TRUE(queue.tryPush([&] { ++done; }));
    EXPECT_EQ(queue.waiting(), 2U);
    EXPECT_FALSE(queue.tryPush([&] { ++done; }));
    mayEnd.count_down();
    queue.close();
    EXPECT_EQ(done, 3);
}

TEST(WorkQueue, DoesWhatWaitsBeforeItEndsAndTakesNothingAfterwards) {
    std::atomic<int> done = 0;
    WorkQueue queue(3, 1000);
    for (int i = 0; i < 500; ++i) ASSERT_TRUE(queue.tryPush([&] { ++done; }));
    queue.close();
    EXPECT_EQ(done, 500);
    EXPECT_FALSE(queue.tryPush([&] { ++done; }));
    EXPECT_EQ(done, 500);
}
