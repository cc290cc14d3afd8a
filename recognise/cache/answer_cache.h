// SPDX-License-Identifier: Apache-2.0
// Answers that were given before, in one SQLite file: by the audio that was asked about, and by the file that it is
// from. What is kept survives a killed program. A damaged file of the cache costs its content, and nothing else.
#pragma once

#include "recognise/model/file_result.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

namespace tarn::recognise {

// A file as it was when it was read; another size or time is another file.
struct FileIdentity {
    std::string path; // whole, of the file that links lead to
    uint64_t bytes = 0;
    int64_t modifiedNs = 0;
};

// For all threads of the program, and for several programs at a time.
class AnswerCache {
  public:
    struct Options {
        std::filesystem::path file;
        std::string source;                  // who was asked: what another one answered counts for nothing
        std::chrono::hours longest{30 * 24}; // an older answer is asked for again
        bool refresh = false;                // keep answers, but take none
    };
    // Throws std::runtime_error that names the file and the way out where it cannot be opened or is no cache.
    explicit AnswerCache(Options options);
    ~AnswerCache();
    AnswerCache(const AnswerCache&) = delete;
    AnswerCache& operator=(const AnswerCache&) = delete;

    std::optional<Answer> answerTo(std::span<const int16_t> samples);
    void keep(std::span<const int16_t> samples, const Answer& answer);
    std::optional<FileResult> resultOf(const FileIdentity& file);
    void keep(const FileIdentity& file, const FileResult& result);

    // What went wrong first; empty: nothing. From then on nothing is found and nothing is kept.
    std::string failure() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// $XDG_CACHE_HOME/tarn/answers.sqlite, else ~/.cache/tarn/answers.sqlite.
std::filesystem::path usualCacheFile();

} // namespace tarn::recognise
