// SPDX-License-Identifier: Apache-2.0
// SIGTERM and SIGINT, taken by a thread of their own, and the time that the service has to end after one.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace tarn::server {

class EndSignal {
  public:
    // Make it before any other thread: the signals are blocked from here on, and the threads made later inherit that.
    EndSignal();
    ~EndSignal(); // the service has ended, or never began
    EndSignal(const EndSignal&) = delete;
    EndSignal& operator=(const EndSignal&) = delete;

    // From now on the process ends with status 1 when this object still exists `limit` after the signal: something
    // hangs, such as a disk that does not answer. overdue is called before, and must not block.
    void watch(std::chrono::milliseconds limit, std::function<void()> overdue);
    // Returns the signal when it has come.
    int wait();
    bool hasCome();

  private:
    void take();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::chrono::milliseconds limit_{0};
    std::function<void()> overdue_;
    int signal_ = 0;
    bool over_ = false;
    std::thread thread_;
};

} // namespace tarn::server
