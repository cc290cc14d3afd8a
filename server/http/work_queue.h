// SPDX-License-Identifier: Apache-2.0
// Workers, and a queue of bounded length in front of them in which the accounts take turns.
//
// However much one account asks, it delays another's request by little:
// - accounts with waiting jobs take turns, a job each;
// - the last free thread is kept for accounts that have nothing at work, and while several accounts ask, so is a second
//   one: with as many workers as processors, a job that is taken at once finds a free processor, too;
// - when the queue is full, the newest job of the account with the most waiting ones gives way to one of an account
//   with fewer.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <vector>

namespace tarn::server {

class WorkQueue {
  public:
    enum class Fate { kRun, kGaveWay };
    // Called once, with what became of it. It must not throw.
    using Job = std::function<void(Fate)>;

    // workers: how many jobs of one account run at once while it asks alone. There is a thread more, the one that is
    // kept. Accounts whose jobs came within the time given ask together.
    WorkQueue(size_t workers, size_t mostWaiting, std::chrono::milliseconds together = std::chrono::seconds(1));
    ~WorkQueue(); // close()
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    // False, and nothing taken, when the queue is full and no job gives way, or when it is closed.
    bool tryPush(uint32_t account, Job job);
    size_t waiting() const;
    // Takes no more, does what waits, ends the workers.
    void close();

  private:
    struct Account {
        std::deque<Job> waiting;
        size_t running = 0;
    };
    using Accounts = std::unordered_map<uint32_t, Account>;

    using Clock = std::chrono::steady_clock;

    void work();
    // These under the mutex.
    void noteWhoAsks(uint32_t account);
    size_t keptThreads() const;
    std::deque<uint32_t>::iterator nextTurn();
    Accounts::iterator longest();
    void dropIfIdle(Accounts::iterator account);

    const size_t mostWaiting_;
    const size_t threads_;
    const std::chrono::milliseconds together_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Accounts accounts_;          // those with a job that waits or runs
    std::deque<uint32_t> turns_; // accounts with waiting jobs, each once; the front is next
    size_t waiting_ = 0;
    size_t running_ = 0;
    std::optional<uint32_t> lastAccount_;         // that asked
    std::optional<Clock::time_point> lastChange_; // when it was another one than before
    bool closed_ = false;
    std::vector<std::jthread> workers_; // last: its threads use what is above
};

} // namespace tarn::server
