#include "commands/decode_pool.h"

#include "audio/recording_reader.h"

#include <algorithm>

namespace tarn::server {

namespace {

DecodedFile decode(const FoundFile& file) {
    DecodedFile decoded;
    decoded.file = &file;
    try {
        decoded.recording = readRecording(file.path);
    } catch (const std::exception& error) {
        decoded.problem = error.what();
    }
    return decoded;
}

} // namespace

DecodePool::DecodePool(const std::vector<FoundFile>& files, size_t workers)
    : files_(files), workers_(std::min(workers, files.size())) {
    for (size_t i = 0; i < workers_; ++i) threads_.emplace_back([this] { work(); });
}

DecodePool::~DecodePool() {
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

void DecodePool::work() {
    std::unique_lock lock(mutex_);
    while (!ending_ && next_ < files_.size()) {
        const FoundFile& file = files_[next_++];
        lock.unlock();
        DecodedFile decoded = decode(file);
        lock.lock();
        room_.wait(lock, [&] { return ending_ || queue_.size() < workers_ * kQueuePerWorker; });
        queue_.push_back(std::move(decoded));
        done_.notify_one();
    }
}

} // namespace tarn::server
