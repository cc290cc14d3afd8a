// SPDX-License-Identifier: Apache-2.0
#include "http/work_queue.h"

#include <algorithm>
#include <utility>

namespace tarn::server {

WorkQueue::WorkQueue(size_t workers, size_t mostWaiting, std::chrono::milliseconds together)
    : mostWaiting_(mostWaiting), threads_(workers + 1), together_(together) {
    try {
        for (size_t i = 0; i < threads_; ++i) workers_.emplace_back([this] { work(); });
    } catch (...) {
        close(); // those that were made would wait for ever
        throw;
    }
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

bool WorkQueue::tryPush(uint32_t account, Job job) {
    Job givesWay;
    {
        const std::lock_guard lock(mutex_);
        if (closed_) return false;
        noteWhoAsks(account);
        if (waiting_ >= mostWaiting_) {
            const auto most = longest();
            const auto mine = accounts_.find(account);
            const size_t ofMine = mine == accounts_.end() ? 0 : mine->second.waiting.size();
            // With the new job mine must not have more than the other has left: they would take places in turn.
            if (most == accounts_.end() || most->second.waiting.size() < ofMine + 2) return false;
            givesWay = std::move(most->second.waiting.back());
            most->second.waiting.pop_back();
            --waiting_;
        }
        std::deque<Job>& queue = accounts_[account].waiting;
        queue.push_back(std::move(job));
        ++waiting_;
        if (queue.size() == 1) turns_.push_back(account);
    }
    changed_.notify_one();
    if (givesWay) givesWay(Fate::kGaveWay);
    return true;
}

size_t WorkQueue::waiting() const {
    const std::lock_guard lock(mutex_);
    return waiting_;
}

WorkQueue::Accounts::iterator WorkQueue::longest() {
    return std::max_element(accounts_.begin(), accounts_.end(), [](const auto& a, const auto& b) {
        return a.second.waiting.size() < b.second.waiting.size();
    });
}

void WorkQueue::dropIfIdle(Accounts::iterator account) {
    if (account->second.waiting.empty() && account->second.running == 0) accounts_.erase(account);
}

void WorkQueue::noteWhoAsks(uint32_t account) {
    if (lastAccount_ && *lastAccount_ != account) lastChange_ = Clock::now();
    lastAccount_ = account;
}

size_t WorkQueue::keptThreads() const { return lastChange_ && Clock::now() - *lastChange_ < together_ ? 2 : 1; }

// The account whose turn it is, among those that may have one now.
std::deque<uint32_t>::iterator WorkQueue::nextTurn() {
    const bool isKept = running_ + keptThreads() >= threads_;
    return std::find_if(turns_.begin(), turns_.end(),
                        [&](uint32_t account) { return !isKept || accounts_.at(account).running == 0; });
}

void WorkQueue::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        auto turn = turns_.end();
        changed_.wait(lock, [&] {
            turn = nextTurn();
            return turn != turns_.end() || (closed_ && turns_.empty());
        });
        if (turn == turns_.end()) return;
        const uint32_t id = *turn;
        turns_.erase(turn);
        Account& account = accounts_.at(id);
        Job job = std::move(account.waiting.front());
        account.waiting.pop_front();
        if (!account.waiting.empty()) turns_.push_back(id);
        --waiting_;
        ++account.running;
        ++running_;
        lock.unlock();
        job(Fate::kRun);
        job = nullptr;
        lock.lock();
        --running_;
        const auto done = accounts_.find(id);
        --done->second.running;
        dropIfIdle(done);
        changed_.notify_all(); // one that could not have the last free worker may have this one
    }
}

} // namespace tarn::server
