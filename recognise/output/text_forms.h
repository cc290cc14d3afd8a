// SPDX-License-Identifier: Apache-2.0
// Texts in the forms that the formats want.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::recognise {

// A field of CSV (RFC 4180): in quotation marks where it holds a separator, a quotation mark or an end of line.
std::string csvField(std::string_view text);

// A text or an attribute's value of XML: what markup consists of is escaped; bytes that are no UTF-8, and characters
// that XML 1.0 cannot hold, become U+FFFD.
std::string xmlText(std::string_view text);

// Minutes and seconds: 1:02, with hours where there are some.
std::string clockText(uint64_t milliseconds);

// At least that many columns: spaces after it.
std::string padded(const std::string& text, size_t columns);

// "Artist - Title", or what is known of it.
std::string nameText(const std::string& artist, const std::string& title);

} // namespace tarn::recognise
