// SPDX-License-Identifier: Apache-2.0
#include "commands/end_signal.h"

#include "base/end_process.h"

#include <csignal>
#include <pthread.h>
#include <utility>

namespace tarn::server {

namespace {

constexpr auto kLastLine = std::chrono::milliseconds(100); // for what overdue has to say

sigset_t endSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

} // namespace

EndSignal::EndSignal() {
    const sigset_t signals = endSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

EndSignal::~EndSignal() {
    {
        const std::lock_guard lock(mutex_);
        over_ = true;
    }
    changed_.notify_all();
    if (!thread_.joinable()) return;
    pthread_kill(thread_.native_handle(), SIGINT); // it may still wait for one
    thread_.join();
}

void EndSignal::watch(std::chrono::milliseconds limit, std::function<void()> overdue) {
    limit_ = limit;
    overdue_ = std::move(overdue);
    thread_ = std::thread([this] { take(); });
}

int EndSignal::wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return signal_ != 0; });
    return signal_;
}

bool EndSignal::hasCome() {
    const std::lock_guard lock(mutex_);
    return signal_ != 0;
}

void EndSignal::take() {
    const sigset_t signals = endSignals();
    int signal = 0;
    sigwait(&signals, &signal);
    std::unique_lock lock(mutex_);
    signal_ = signal;
    changed_.notify_all();
    if (changed_.wait_for(lock, limit_, [this] { return over_; })) return;
    overdue_();
    std::this_thread::sleep_for(kLastLine);
    endProcess(1);
}

} // namespace tarn::server
