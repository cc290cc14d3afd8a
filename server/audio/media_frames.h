// SPDX-License-Identifier: Apache-2.0
// What the process that reads a file sends to who asked for it: frames of a kind, a size and as many bytes. The samples
// themselves lie in the SampleRing.
#pragma once

#include "model/recording.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server {

enum class FrameKind : uint8_t {
    kTags,          // texts and numbers, a line each
    kFormat,        // AudioFormat
    kSamples,       // the next slot is filled: how many samples, 4 bytes
    kUnknownFormat, // libsndfile's reason
    kProblem,       // a reason
    kEnd,           // all of it is read
};

struct AudioFormat {
    int32_t rateHz = 0;
    int16_t channels = 0;  // 1 or 2
    int16_t lossless = 0;  // 1: the format keeps every sample
    uint64_t statedMs = 0; // the length that the file states; 0: none
};

struct Frame {
    FrameKind kind = FrameKind::kEnd;
    std::vector<char> payload;
};

constexpr size_t kMaxFrameBytes = size_t{64} << 10;

// False if nobody reads the channel, a pair of sockets, any more.
bool sendFrame(int channel, FrameKind kind, std::string_view payload);

// False where the channel ends. A frame that is cut, too large or of an unknown kind is such an end too: its writer has
// died, or is not to be trusted.
bool receiveFrame(int channel, Frame& frame);

std::string packedTags(const Tags& tags);
Tags unpackedTags(std::string_view text);
std::string packedFormat(const AudioFormat& format);
// Values out of range, from a process that is not to be trusted, are an AudioError.
AudioFormat unpackedFormat(std::string_view bytes);
std::string packedCount(size_t samples);
// At most a slot's, and whole frames; else an AudioError.
size_t unpackedCount(std::string_view bytes, int channels);

} // namespace tarn::server
