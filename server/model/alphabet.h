// SPDX-License-Identifier: Apache-2.0
// The letters that code strings are written in.
#pragma once

#include <cstdint>

namespace tarn::server {

constexpr uint32_t kLetters = 24; // 'a' to 'x'

constexpr bool isLetter(char c) { return c >= 'a' && c < static_cast<char>('a' + kLetters); }

} // namespace tarn::server
