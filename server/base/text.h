// SPDX-License-Identifier: Apache-2.0
// Texts from outside, made fit for records, lists and logs, and numbers as texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::server {

constexpr size_t kMaxTextBytes = 1000;

// Valid UTF-8 in one line: a byte that is no UTF-8 becomes U+FFFD, runs of white space and control characters one
// space, none at the ends; what turns the writing direction is left out; cut at a character, to kMaxTextBytes at most.
std::string cleanText(std::string_view text);

// A path as it is, but for control characters, bytes that a terminal may take for one, and what turns the writing
// direction, which become question marks: it stays in its line and column.
std::string inOneLine(std::string_view path);

// Bytes of the UTF-8 character at the start of text, which is not empty; 0: there is no valid one.
size_t utf8Bytes(std::string_view text);
bool isUtf8(std::string_view text);

// No control character in it.
bool isPrintable(std::string_view text);

// "1 recording", "2 recordings".
std::string counted(uint64_t count, std::string_view thing);

// Hours, minutes, seconds, without what is not needed: 1:02:03, 4:05.
std::string durationText(uint64_t seconds);

} // namespace tarn::server
