// SPDX-License-Identifier: Apache-2.0
// Code strings as bytes, for the catalogue.
//
// Per string: number of letters (varint); a byte for each run of 1 to 10 equal letters, the letter ('a' is 0) and 24
// for each repeat; then the frame of every 16th letter and of the last one, each as the difference from the one before
// (varint). In between, frames are interpolated: 16 letters are about 2 seconds of music, and a place need only be
// right to within a second. Whole bytes, because recordings are deflated.
#pragma once

#include "model/recording_codes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server {

// The indexes of the letters whose frames are stored.
std::vector<size_t> timedIndexes(size_t letters);

void appendCodes(std::string& out, const RecordingCodes& codes);
// Reads the codes and removes them from the beginning of bytes; nothing if the bytes are not codes.
std::optional<RecordingCodes> takeCodes(std::string_view& bytes);

} // namespace tarn::server
