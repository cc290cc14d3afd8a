// SPDX-License-Identifier: Apache-2.0
// Audio files of every format that libsndfile reads, decoded piece by piece.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

namespace tarn::server {

// The file cannot be used; the text says why, without the file's name.
class AudioError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Throws AudioError unless the path leads to a regular file that is not empty. (Opening a pipe would wait for its
// writer.)
void expectFile(const std::filesystem::path& path);

// 16-bit PCM, one or two channels. Of more channels the even ones are averaged to the left, the odd ones to the right.
// Floating-point formats are clipped at full scale.
class AudioFile {
  public:
    static constexpr int kMinRateHz = 11025; // a client refuses anything below, so it could never be recognised
    static constexpr int kMaxRateHz = 768000;
    static constexpr uint64_t kMaxSeconds = uint64_t{24} * 3600; // stops a small file that unpacks endlessly

    // Throws AudioError.
    explicit AudioFile(const std::filesystem::path& path);
    ~AudioFile();
    AudioFile(const AudioFile&) = delete;
    AudioFile& operator=(const AudioFile&) = delete;

    int rateHz() const;
    int channels() const; // 1 or 2
    // The next piece, channels interleaved, valid until the next call; empty at the end. Throws AudioError if the file
    // is damaged or ends before its stated length.
    std::span<const int16_t> read();
    uint64_t framesRead() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace tarn::server
