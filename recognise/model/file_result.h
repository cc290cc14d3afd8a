// SPDX-License-Identifier: Apache-2.0
// What came of one file.
#pragma once

#include "recognise/model/answer.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tarn::recognise {

enum class FileStatus { kMatched, kUnknown, kError };

// Why there is neither a match nor an honest "unknown".
enum class FileError {
    kNotFound,   // the path leads to no file, or the file cannot be opened
    kUnreadable, // no audio comes out of it
    kTooShort,
    kServer,   // no answer, though it was asked
    kNotAsked, // the server failed before
};

struct FileResult {
    std::string path; // as it was named
    FileStatus status = FileStatus::kError;
    Answer answer;
    uint64_t probeMs = 0;    // where in the file the audio begins that was asked about
    uint64_t durationMs = 0; // of the file, as it states it; 0: it states none
    bool silent = false;     // of an unknown one: nothing was heard
    FileError error = FileError::kUnreadable;
    std::string reason; // of an error
    bool fromCache = false;
};

inline FileResult failedResult(FileError error, std::string reason) {
    FileResult result;
    result.error = error;
    result.reason = std::move(reason);
    return result;
}

} // namespace tarn::recognise
