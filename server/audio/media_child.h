// SPDX-License-Identifier: Apache-2.0
// What the process does that reads one file and ends.
#pragma once

#include "audio/ffmpeg_library.h"
#include "audio/sample_ring.h"
#include "base/file_descriptor.h"

#include <cstdint>
#include <string>

namespace tarn::server {

struct MediaRequest {
    bool samples = false;        // else tags
    bool byFfmpeg = false;       // samples by it instead of libsndfile, and the container's tags
    uint64_t startMs = 0;        // where samples begin
    uint64_t maxMs = UINT64_MAX; // of samples
};

constexpr int kChildOutOfMemory = 3; // exit status

// name: by which the tag library knows the format. ffmpeg: null unless the request wants it. Confines itself first.
// Does not return.
[[noreturn]] void runMediaChild(const MediaRequest& request, const std::string& name, FileDescriptor file, int channel,
                                SampleRing& ring, const FfmpegLibrary* ffmpeg);

} // namespace tarn::server
