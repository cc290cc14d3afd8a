// SPDX-License-Identifier: Apache-2.0
#include "ingest/decode_pool.h"

#include "base/reason.h"
#include "ingest/recording_reader.h"

#include <algorithm>

namespace tarn::server {

namespace {

DecodedFile decode(const FoundFile& file, MediaProcess& process, const std::atomic<bool>& stop) {
    DecodedFile decoded;
    decoded.file = &file;
    try {
        decoded.recording = readRecording(file.path, process, {file.namesBelow, &stop});
    } catch (const std::exception& error) {
        decoded.problem = reasonOf(error);
    }
    return decoded;
}

} // namespace

DecodePool::DecodePool(const std::vector<FoundFile>& files, std::span<MediaProcess> processes)
    : files_(files), workers_(std::min(processes.size(), files.size())) {
    try {
        for (MediaProcess& process : processes.first(workers_))
            threads_.emplace_back([this, &process] { work(process); });
    } catch (...) {
        end();
        throw;
    }
}

DecodePool::~DecodePool() { end(); }

void DecodePool::end() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    room_.notify_all();
    for (std::thread& thread : threads_) thread.join();
}

std::optional<DecodedFile> DecodePool::take(std::chrono::steady_clock::time_point until) {
    std::unique_lock lock(mutex_);
    if (!done_.wait_until(lock, until, [&] { return !queue_.empty(); })) return std::nullopt;
    DecodedFile file = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    room_.notify_one();
    return file;
}

void DecodePool::work(MediaProcess& process) {
    std::unique_lock lock(mutex_);
    while (!ending_ && next_ < files_.size()) {
        const FoundFile& file = files_[next_++];
        lock.unlock();
        DecodedFile decoded = decode(file, process, ending_);
        lock.lock();
        room_.wait(lock, [&] { return ending_ || queue_.size() < workers_ * kQueuePerWorker; });
        queue_.push_back(std::move(decoded));
        done_.notify_one();
    }
}

} // namespace tarn::server
