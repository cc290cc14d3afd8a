// SPDX-License-Identifier: Apache-2.0
// A file in FFmpeg's hands: container, stream, packets, frames.
#pragma once

#include "audio/audio_error.h"
#include "audio/ffmpeg_library.h"

#include <cstdint>
#include <string>

namespace tarn::server {

class FfmpegFile {
  public:
    // Opens the container and the decoder of its best audio stream. Throws AudioError.
    FfmpegFile(const FfmpegLibrary& library, FileDescriptor descriptor);
    ~FfmpegFile();
    FfmpegFile(const FfmpegFile&) = delete;
    FfmpegFile& operator=(const FfmpegFile&) = delete;

    const AVStream& stream() const { return *stream_; }
    uint64_t statedMs() const; // 0 if not stated
    bool lengthIsCertain() const;
    bool lossless() const;
    // The container's, or the stream's; empty if there is none.
    std::string tag(const char* name) const;
    // Goes to a place at or before it; returns the place in the stream's time base.
    int64_t seek(uint64_t ms);
    // Valid until the next call; null at the end. Packets that cannot be decoded are left out and counted.
    const AVFrame* nextFrame(uint64_t& badPackets);
    // The next frame, which the next call of nextFrame() gives again.
    const AVFrame* peekFrame(uint64_t& badPackets);

  private:
    static int readBytes(void* self, uint8_t* buffer, int size);
    static int64_t moveTo(void* self, int64_t offset, int whence);
    static int refuseToOpen(AVFormatContext* context, AVIOContext** io, const char* url, int flags,
                            AVDictionary** options);
    void openContainer();
    void openStream();
    [[noreturn]] void fail(const char* what, int error) const;
    void close();

    const FfmpegLibrary& library_;
    FileDescriptor descriptor_;
    int64_t place_ = 0;
    int64_t size_ = 0;
    AVIOContext* io_ = nullptr;
    AVFormatContext* container_ = nullptr;
    AVCodecContext* decoder_ = nullptr;
    AVPacket* packet_ = nullptr;
    AVFrame* frame_ = nullptr;
    const AVStream* stream_ = nullptr;
    bool peeked_ = false;
    bool atEnd_ = false; // no more packets
};

} // namespace tarn::server
