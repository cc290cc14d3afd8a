// Workers, and a queue of bounded length in front of them.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tarn::server {

class WorkQueue {
  public:
    WorkQueue(size_t workers, size_t mostWaiting);
    ~WorkQueue(); // close()
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    // False, and nothing taken, when the queue is full or closed. A job must not throw.
    bool tryPush(std::function<void()> job);
    size_t waiting() const;
    // Takes no more, does what waits, ends the workers.
    void close();

  private:
    void work();

    const size_t mostWaiting_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> jobs_;
    bool closed_ = false;
    std::vector<std::jthread> workers_; // last: its threads use what is above
};

} // namespace tarn::server
