#include "http/work_queue.h"

#include <utility>

namespace tarn::server {

WorkQueue::WorkQueue(size_t workers, size_t mostWaiting) : mostWaiting_(mostWaiting) {
    for (size_t i = 0; i < workers; ++i) workers_.emplace_back([this] { work(); });
}

WorkQueue::~WorkQueue() { close(); }

void WorkQueue::close() {
    {
        const std::lock_guard lock(mutex_);
        closed_ = true;
    }
    changed_.notify_all();
    workers_.clear();
}

bool WorkQueue::tryPush(std::function<void()> job) {
    {
        const std::lock_guard lock(mutex_);
        if (closed_ || jobs_.size() >= mostWaiting_) return false;
        jobs_.push_back(std::move(job));
    }
    changed_.notify_one();
    return true;
}

size_t WorkQueue::waiting() const {
    const std::lock_guard lock(mutex_);
    return jobs_.size();
}

void WorkQueue::work() {
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return closed_ || !jobs_.empty(); });
            if (jobs_.empty()) return;
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        job();
    }
}

} // namespace tarn::server
