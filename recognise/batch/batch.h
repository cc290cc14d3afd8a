// SPDX-License-Identifier: Apache-2.0
// Recognises many files on several threads. Results come in the order of the files.
#pragma once

#include "audio/media_process.h"
#include "recognise/batch/inputs.h"
#include "recognise/cache/answer_cache.h"
#include "recognise/model/asker.h"
#include "recognise/model/file_result.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace tarn::recognise {

class Batch {
  public:
    using MakeAsker = std::function<std::unique_ptr<Asker>()>;

    // Starts a thread for each of the processes that read files; each thread has an asker of its own. inputs, processes
    // and cache (null: none) must outlive this.
    Batch(const std::vector<InputFile>& inputs, std::span<server::MediaProcess> processes, MakeAsker makeAsker,
          AnswerCache* cache);
    ~Batch(); // ends the threads as soon as each is done with its file
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    // The result of the next file; nothing if it is not there in time. Call it once for each file, until all are there.
    std::optional<FileResult> next(std::chrono::steady_clock::time_point until);

  private:
    void work(server::MediaProcess& process);
    std::optional<size_t> takeFile();
    FileResult resultOf(const InputFile& input, server::MediaProcess& process, std::unique_ptr<Asker>& asker);
    FileResult ask(const InputFile& input, server::MediaProcess& process, std::unique_ptr<Asker>& asker);

    // Files that threads are ahead of the one whose result is due.
    static constexpr size_t kAhead = 1000;
    // Failures of the server in a row after which nothing more is asked.
    static constexpr size_t kMaxFailures = 3;

    const std::vector<InputFile>& inputs_;
    const MakeAsker makeAsker_;
    AnswerCache* cache_;
    std::mutex mutex_;
    std::condition_variable done_;
    std::condition_variable room_;
    std::map<size_t, FileResult> results_; // by their place in inputs_
    size_t nextFile_ = 0;
    size_t nextResult_ = 0;
    size_t failures_ = 0;
    bool refused_ = false;
    bool ending_ = false;
    std::vector<std::thread> threads_;
};

} // namespace tarn::recognise
