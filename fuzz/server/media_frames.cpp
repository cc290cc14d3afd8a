// SPDX-License-Identifier: Apache-2.0
// What comes from the process that reads a file, which a hostile file may have taken over.
//
// Holds: whatever the bytes are, reading ends; a frame that is taken has a known kind and a bounded size; texts are
// clean, a format is in range, and a count is of whole frames that a slot holds.
#include "audio/media_frames.h"

#include "audio/audio_decoder.h"
#include "audio/sample_ring.h"
#include "base/text.h"
#include "fuzz_target.h"

#include <algorithm>
#include <sys/socket.h>

namespace {

using namespace tarn::server;

constexpr size_t kMaxBytes = 32 * 1024; // less than a socket takes at once

void check(const Frame& frame) {
    REQUIRE(frame.kind <= FrameKind::kEnd);
    REQUIRE(frame.payload.size() <= kMaxFrameBytes);
    const std::string_view bytes(frame.payload.data(), frame.payload.size());
    const Tags tags = unpackedTags(bytes);
    for (const std::string& text : {tags.title, tags.artist, tags.album, tags.albumArtist}) {
        REQUIRE(text.size() <= kMaxTextBytes && cleanText(text) == text);
    }
    try {
        const AudioFormat format = unpackedFormat(bytes);
        REQUIRE(format.rateHz >= AudioDecoder::kMinRateHz && format.rateHz <= AudioDecoder::kMaxRateHz);
        REQUIRE(format.channels == 1 || format.channels == 2);
    } catch (const AudioError&) {
        // out of range
    }
    for (const int channels : {1, 2}) {
        try {
            const size_t count = unpackedCount(bytes, channels);
            REQUIRE(count > 0 && count <= SampleRing::kSlotSamples && count % static_cast<size_t>(channels) == 0);
        } catch (const AudioError&) {
            // no whole frames
        }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return 0;
    const FileDescriptor reading(ends[0]);
    {
        const FileDescriptor writing(ends[1]);
        writeAll(writing.get(), {reinterpret_cast<const char*>(data), std::min(size, kMaxBytes)});
    }
    Frame frame;
    while (receiveFrame(reading.get(), frame)) check(frame);
    return 0;
}
