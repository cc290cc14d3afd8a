// SPDX-License-Identifier: Apache-2.0
// 16-bit PCM from a pipe, a terminal's program or a file: raw, or as WAV whose stated size may be endless.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace tarn::recognise {

// The stream is not what it should be, or cannot be read. The text says what to do.
class StreamError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct PcmFormat {
    int rateHz = 0;
    int channels = 0;
};

// "44100,2". Nothing if it is not that: 11025 to 768000 Hz, 1 to 64 channels.
std::optional<PcmFormat> pcmFormat(std::string_view text);

class PcmStream {
  public:
    struct Waiting {
        int idleSeconds = 0;        // a stream that delivers nothing for so long has ended; 0: it never has
        std::function<bool()> stop; // asked several times a second; the stream ends when it is true
    };

    // raw: the format of a stream of samples without a header. Reads up to the first sample otherwise. Throws
    // StreamError. The descriptor stays the caller's.
    PcmStream(int descriptor, const std::optional<PcmFormat>& raw, Waiting waiting);

    const PcmFormat& format() const { return format_; }
    // What has come, whole frames, interleaved; valid until the next call. Empty at the end. Throws StreamError.
    std::span<const int16_t> read();

  private:
    // What has come, at most that many bytes. 0 at the end.
    size_t readSome(uint8_t* bytes, size_t count);
    // False at an end before.
    bool readAll(uint8_t* bytes, size_t count);
    void readHeader();
    void readFormat(uint32_t size);
    void skip(uint32_t size);

    int descriptor_;
    Waiting waiting_;
    PcmFormat format_;
    std::optional<uint64_t> leftBytes_; // of the samples, where it is stated
    std::vector<uint8_t> bytes_;
    size_t carried_ = 0; // bytes of an incomplete frame
    std::vector<int16_t> samples_;
};

} // namespace tarn::recognise
