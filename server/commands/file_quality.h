// SPDX-License-Identifier: Apache-2.0
// Which of several files of one recording is the best.
#pragma once

#include "audio/media_process.h"
#include "model/recording.h"

#include <cstdint>
#include <string>

namespace tarn::server {

struct FileQuality {
    // The better kinds first.
    enum class Kind { kLossless, kLossy, kUnreadable, kGone };
    Kind kind = Kind::kGone;
    uint32_t kilobits = 0; // a second: all bytes of the file by its duration; 0 if it is gone
};

// Opens the recording's file, and decodes none of it.
FileQuality qualityOf(const Recording& recording, MediaProcess& process);

const char* nameOf(FileQuality::Kind kind);

// Lossless before lossy, then the higher bit rate, the longer, the path that comes first.
bool isBetter(const FileQuality& a, const Recording& ofA, const FileQuality& b, const Recording& ofB);

} // namespace tarn::server
