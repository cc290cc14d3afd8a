// SPDX-License-Identifier: Apache-2.0
#include "commands/file_quality.h"

#include "audio/audio_error.h"

#include <filesystem>
#include <system_error>
#include <tuple>

namespace fs = std::filesystem;

namespace tarn::server {

FileQuality qualityOf(const Recording& recording, MediaProcess& process) {
    FileQuality quality;
    std::error_code error;
    const fs::file_status status = fs::status(recording.path, error);
    if (status.type() == fs::file_type::not_found) return quality;
    quality.kind = FileQuality::Kind::kUnreadable;
    const uintmax_t bytes = fs::file_size(recording.path, error);
    if (error) return quality;
    if (recording.durationMs > 0) quality.kilobits = static_cast<uint32_t>(bytes * 8 / recording.durationMs);
    try {
        MediaFile::Wanted wanted;
        wanted.samples = true;
        wanted.maxMs = 1;
        const MediaFile file(process, recording.path, wanted);
        quality.kind = file.lossless() ? FileQuality::Kind::kLossless : FileQuality::Kind::kLossy;
    } catch (const AudioError&) { // it stays unreadable
        return quality;
    }
    return quality;
}

const char* nameOf(FileQuality::Kind kind) {
    switch (kind) {
    case FileQuality::Kind::kLossless:
        return "lossless";
    case FileQuality::Kind::kLossy:
        return "lossy";
    case FileQuality::Kind::kUnreadable:
        return "unreadable";
    case FileQuality::Kind::kGone:
        break;
    }
    return "gone";
}

bool isBetter(const FileQuality& a, const Recording& ofA, const FileQuality& b, const Recording& ofB) {
    return std::tie(a.kind, b.kilobits, ofB.durationMs, ofA.path) <
           std::tie(b.kind, a.kilobits, ofA.durationMs, ofB.path);
}

} // namespace tarn::server
