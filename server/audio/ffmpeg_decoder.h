// SPDX-License-Identifier: Apache-2.0
// Audio files, and the sound of video files, of every format that FFmpeg reads.
#pragma once

#include "audio/audio_decoder.h"
#include "audio/ffmpeg_library.h"
#include "model/recording.h"

#include <memory>

namespace tarn::server {

// The format is known by the file's content, never by its name, and nothing but the file is ever opened: a play list is
// not followed.
class FfmpegDecoder final : public AudioDecoder {
  public:
    // Throws AudioError.
    FfmpegDecoder(const FfmpegLibrary& library, FileDescriptor file);
    ~FfmpegDecoder() override;

    int rateHz() const override;
    int channels() const override;
    uint64_t statedMs() const override;
    bool lossless() const override;
    void startAt(uint64_t ms) override;
    std::span<const int16_t> read() override;
    // What the container says of the recording; texts are as they are in the file.
    Tags tags() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace tarn::server
