// SPDX-License-Identifier: Apache-2.0
// A recording as the bytes that the catalogue stores.
//
//   format (varint, 3); size of what follows, inflated (varint); deflated: duration in ms, track number, year
//   (varints); track id, album id, content hash, path, title, artist, album, album artist, track blob, album blob (each
//   its length as a varint, then its bytes); codes (coding/code_packing.h). The id is in the key.
#pragma once

#include "model/recording.h"

#include <optional>
#include <string>
#include <string_view>

namespace tarn::server {

std::string packRecording(const Recording& recording);
// Nothing when the bytes are no recording of a format that we know.
std::optional<Recording> unpackRecording(std::string_view bytes);

} // namespace tarn::server
