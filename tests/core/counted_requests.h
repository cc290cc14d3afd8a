// SPDX-License-Identifier: Apache-2.0
// Sessions and requests whose allocations are counted and fail in turn.
#pragma once

#include "core/answer_readers.h"
#include "support/answers.h"
#include "support/audio.h"
#include "support/counting_hooks.h"
#include "support/failing_memory.h"
#include "support/figures.h"
#include "support/handles.h"

#include <gtest/gtest.h>

namespace kvxtest::counted_requests {

inline constexpr int32_t kBlockBytes = 1024; // what a client feeds at a time
inline constexpr int32_t kDurationMs = 6100;
inline constexpr uint32_t kUntouched = 77;
inline void recordPoints(const std::string& what, long points) {
    recordFigure("failure points of " + what, static_cast<size_t>(points));
}

// A handle from the counter's memory; the host's copy goes back to the system, past the hooks.
inline Handle countedHandle(CountingHooks& hooks, const HandleOptions& options = {}) {
    Handle handle = makeHandle(options);
    hooks.forget(handle->hostName);
    return handle;
}

// A request of any kind: its status, and its bytes where there are any.
struct Request {
    int32_t status = 0;
    Bytes bytes;
};

template <class Generate>
Request request(Generate generate, int32_t (*release)(uint8_t**)) {
    uint8_t* buffer = nullptr;
    uint32_t length = kUntouched;
    Request made{generate(&buffer, &length), {}};
    if (made.status == 0) made.bytes.assign(buffer, buffer + length);
    EXPECT_EQ(buffer == nullptr, made.status != 0);
    EXPECT_EQ(length == kUntouched, made.status != 0);
    release(&buffer);
    return made;
}

inline Request fingerprintRequest(KVXHandle* handle) {
    static char text[] = "value";
    static KVXValueLength value{text, 5};
    const NumValuePair pairs[] = {{1, &value}, {2, nullptr}};
    KVXFingerprintDescriptor descriptor{};
    descriptor.text1 = "file.wav";
    return request(
        [&](uint8_t** buffer, uint32_t* length) {
            return KVXGenerateFingerprintRequest3(handle, pairs, 2, &descriptor, 10, 0x656E, buffer, length);
        },
        KVXFreeFingerprintRequest3);
}

struct PcmFormat {
    int channels;
    int32_t rateHz;
    long blocksPerCall; // of memory: the work buffer, and one to resample into
};

inline constexpr PcmFormat kFormats[] = {{1, 22050, 1}, {2, 22050, 1}, {1, 44100, 2}, {2, 44100, 2}};
inline int32_t open(KVXHandle* handle, const PcmFormat& format) {
    return KVXNewFingerprint3(handle, format.channels, format.rateHz, kDurationMs);
}

inline Bytes pcmOf(const PcmFormat& format) {
    Bytes pcm = audioBytes(Audio::kMusic, format.channels, format.rateHz, 0, kDurationMs);
    pcm.resize(pcm.size() / kBlockBytes * kBlockBytes);
    return pcm;
}

// A session from its opening to its request.
inline Request wholeSession(KVXHandle* handle, const PcmFormat& format, const Bytes& pcm) {
    EXPECT_EQ(open(handle, format), 0);
    int32_t status = KVX_MORE_AUDIO_WANTED;
    for (size_t at = 0; at < pcm.size() && status == KVX_MORE_AUDIO_WANTED; at += kBlockBytes) {
        status = KVXGenerateFingerprint3(handle, pcm.data() + at, kBlockBytes);
    }
    EXPECT_EQ(status, 0);
    return fingerprintRequest(handle);
}

} // namespace kvxtest::counted_requests
