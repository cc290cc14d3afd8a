// SPDX-License-Identifier: Apache-2.0
#include "http/work_queue.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <latch>
#include <string>

using tarn::server::WorkQueue;
using Fate = WorkQueue::Fate;

namespace {

constexpr uint32_t kMine = 1;
constexpr uint32_t kOther = 2;

// Jobs that keep workers busy until they are let go.
class Blockers {
  public:
    explicit Blockers(WorkQueue& queue) : queue_(queue) {}
    ~Blockers() { letGo(); }
    // Returns when the job runs.
    void occupy(uint32_t account) {
        std::latch begun(1);
        ASSERT_TRUE(queue_.tryPush(account, [&begun, this](Fate) {
            begun.count_down();
            mayEnd_.wait();
        }));
        begun.wait();
    }
    void letGo() {
        if (!open_) mayEnd_.count_down();
        open_ = true;
    }

  private:
    WorkQueue& queue_;
    std::latch mayEnd_{1};
    bool open_ = false;
};

// What ran, in its order, a letter each; in capitals what gave way.
class Record {
  public:
    WorkQueue::Job job(char name) {
        return [this, name](Fate fate) {
            const std::lock_guard lock(mutex_);
            order_ += fate == Fate::kRun ? name : static_cast<char>(name - 'a' + 'A');
        };
    }
    std::string order() const {
        const std::lock_guard lock(mutex_);
        return order_;
    }

  private:
    mutable std::mutex mutex_;
    std::string order_;
};

} // namespace

TEST(WorkQueue, RefusesWhatWouldBeOneTooMany) {
    Record record;
    WorkQueue queue(1, 2);
    Blockers blockers(queue);
    blockers.occupy(kMine);
    EXPECT_TRUE(queue.tryPush(kMine, record.job('a')));
    EXPECT_TRUE(queue.tryPush(kMine, record.job('b')));
    EXPECT_EQ(queue.waiting(), 2U);
    EXPECT_FALSE(queue.tryPush(kMine, record.job('c')));
    blockers.letGo();
    queue.close();
    EXPECT_EQ(record.order(), "ab");
}

TEST(WorkQueue, DoesWhatWaitsBeforeItEndsAndTakesNothingAfterwards) {
    std::atomic<int> done = 0;
    WorkQueue queue(3, 1000);
    for (uint32_t i = 0; i < 500; ++i) ASSERT_TRUE(queue.tryPush(i % 7, [&](Fate) { ++done; }));
    queue.close();
    EXPECT_EQ(done, 500);
    EXPECT_FALSE(queue.tryPush(kMine, [&](Fate) { ++done; }));
    EXPECT_EQ(done, 500);
}

TEST(WorkQueue, GivesEveryAccountATurnAfterAnother) {
    Record record;
    WorkQueue queue(1, 100);
    Blockers throughout(queue); // so that one thread does all
    throughout.occupy(7);
    {
        Blockers first(queue);
        first.occupy(8);
        for (int i = 0; i < 5; ++i) ASSERT_TRUE(queue.tryPush(kMine, record.job('a')));
        for (int i = 0; i < 2; ++i) ASSERT_TRUE(queue.tryPush(kOther, record.job('b')));
        std::latch last(1);
        ASSERT_TRUE(queue.tryPush(kMine, [&](Fate) { last.count_down(); }));
        first.letGo();
        last.wait();
    }
    EXPECT_EQ(record.order(), "ababaaa");
}

// Whatever one account asks, another one finds a worker.
TEST(WorkQueue, KeepsTheLastWorkerForAccountsThatHaveNothingAtWork) {
    Record record;
    WorkQueue queue(2, 100, std::chrono::milliseconds(0));
    Blockers blockers(queue);
    blockers.occupy(kMine);
    blockers.occupy(kMine);
    for (int i = 0; i < 20; ++i) ASSERT_TRUE(queue.tryPush(kMine, record.job('a')));
    // It runs though twenty were there before it, and though two run that never end.
    std::latch ran(1);
    ASSERT_TRUE(queue.tryPush(kOther, [&](Fate) { ran.count_down(); }));
    ran.wait();
    EXPECT_EQ(queue.waiting(), 20U);
    EXPECT_EQ(record.order(), "");
    blockers.letGo();
    queue.close();
    EXPECT_EQ(record.order(), std::string(20, 'a'));
}

TEST(WorkQueue, KeepsASecondOneWhileSeveralAccountsAsk) {
    WorkQueue queue(2, 100, std::chrono::hours(1));
    Record record;
    const auto runOther = [&] {
        std::latch ran(1);
        ASSERT_TRUE(queue.tryPush(kOther, [&](Fate) { ran.count_down(); }));
        ran.wait();
    };
    Blockers blockers(queue);
    blockers.occupy(kMine);
    runOther();
    ASSERT_TRUE(queue.tryPush(kMine, record.job('a')));
    runOther(); // a worker saw that job first
    EXPECT_EQ(queue.waiting(), 1U);
    EXPECT_EQ(record.order(), "");
    blockers.letGo();
    queue.close();
    EXPECT_EQ(record.order(), "a");
}

TEST(WorkQueue, WhenFullTheAccountWithTheMostGivesWay) {
    Record record;
    WorkQueue queue(1, 5);
    Blockers blockers(queue);
    blockers.occupy(7);
    blockers.occupy(8);
    for (const char name : {'a', 'b', 'c', 'd', 'e'}) ASSERT_TRUE(queue.tryPush(kMine, record.job(name)));
    EXPECT_FALSE(queue.tryPush(kMine, record.job('x'))) << "nobody gives way to oneself";
    EXPECT_TRUE(queue.tryPush(kOther, record.job('p')));
    EXPECT_EQ(record.order(), "E") << "the newest one";
    EXPECT_TRUE(queue.tryPush(kOther, record.job('q')));
    EXPECT_EQ(record.order(), "ED");
    EXPECT_FALSE(queue.tryPush(kOther, record.job('r'))) << "they have three and two";
    EXPECT_EQ(queue.waiting(), 5U);
    blockers.letGo();
    queue.close();
    std::string done = record.order().substr(2);
    std::sort(done.begin(), done.end());
    EXPECT_EQ(done, "abcpq");
}
