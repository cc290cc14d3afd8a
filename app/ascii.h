// SPDX-License-Identifier: Apache-2.0
// Texts that must be ASCII to be passed on.
#pragma once

#include <algorithm>
#include <string_view>

namespace tarn {

// A text that is not ASCII converts to nothing.
inline bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

} // namespace tarn
