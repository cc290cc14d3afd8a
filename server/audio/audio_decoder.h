// SPDX-License-Identifier: Apache-2.0
// What every decoder of audio files gives, whatever library it uses.
#pragma once

#include "audio/audio_error.h"

#include <cstdint>
#include <span>

namespace tarn::server {

// 16-bit PCM, one or two channels. Of more channels the even ones are averaged to the left, the odd ones to the right.
// Values beyond full scale are clipped. Every function throws AudioError where the file is damaged.
class AudioDecoder {
  public:
    static constexpr int kMinRateHz = 11025; // a client refuses anything below, so it could never be recognised
    static constexpr int kMaxRateHz = 768000;
    static constexpr uint64_t kMaxSeconds = uint64_t{24} * 3600; // stops a small file that unpacks endlessly

    AudioDecoder() = default;
    virtual ~AudioDecoder() = default;
    AudioDecoder(const AudioDecoder&) = delete;
    AudioDecoder& operator=(const AudioDecoder&) = delete;

    virtual int rateHz() const = 0;
    virtual int channels() const = 0; // 1 or 2
    // The length that the file states, in milliseconds; 0 if it states none. It may be wrong.
    virtual uint64_t statedMs() const = 0;
    // Whether the format keeps every sample; one that can do both counts as what it is mostly used for.
    virtual bool lossless() const = 0;
    // Before the first read: reading begins there, as nearly as the format allows.
    virtual void startAt(uint64_t ms) = 0;
    // The next piece, channels interleaved, valid until the next call; empty at the end. Throws AudioError if the file
    // is damaged or ends before its stated length.
    virtual std::span<const int16_t> read() = 0;
};

// Throws AudioError unless recognition takes the rate.
void expectRate(int64_t rateHz);

} // namespace tarn::server
