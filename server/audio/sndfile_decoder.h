// SPDX-License-Identifier: Apache-2.0
// Audio files of every format that libsndfile reads.
#pragma once

#include "audio/audio_decoder.h"

#include <filesystem>
#include <memory>

namespace tarn::server {

class SndfileDecoder final : public AudioDecoder {
  public:
    // Throw AudioError; UnknownFormat if libsndfile cannot open the file.
    explicit SndfileDecoder(const std::filesystem::path& path) : SndfileDecoder(openAudio(path)) {}
    explicit SndfileDecoder(FileDescriptor file);
    ~SndfileDecoder() override;

    int rateHz() const override;
    int channels() const override;
    uint64_t statedMs() const override;
    bool lossless() const override;
    void startAt(uint64_t ms) override;
    std::span<const int16_t> read() override;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace tarn::server
