// SPDX-License-Identifier: Apache-2.0
// Decodes files to recordings on several threads.
#pragma once

#include "audio/media_process.h"
#include "ingest/file_walk.h"
#include "model/recording.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace tarn::server {

struct DecodedFile {
    const FoundFile* file = nullptr;
    Recording recording; // valid only without a problem
    std::string problem;
};

class DecodePool {
  public:
    // Starts a thread for each of the processes that read files. files and processes must outlive the pool. Recordings
    // wait in a short queue: a slow taker slows the threads down.
    DecodePool(const std::vector<FoundFile>& files, std::span<MediaProcess> processes);
    ~DecodePool(); // ends the threads, with the files that they read
    DecodePool(const DecodePool&) = delete;
    DecodePool& operator=(const DecodePool&) = delete;

    // The next file that is done, in any order; nothing if none is done in time.
    std::optional<DecodedFile> take(std::chrono::steady_clock::time_point until);

  private:
    void work(MediaProcess& process);
    void end();

    static constexpr size_t kQueuePerWorker = 4;

    const std::vector<FoundFile>& files_;
    const size_t workers_;
    std::mutex mutex_;
    std::condition_variable done_;
    std::condition_variable room_;
    size_t next_ = 0;
    std::atomic<bool> ending_ = false;
    std::deque<DecodedFile> queue_;
    std::vector<std::thread> threads_;
};

} // namespace tarn::server
