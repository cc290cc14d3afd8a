// SPDX-License-Identifier: Apache-2.0
// Where one string of letters lies in another, with the fewest edits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tarn::server {

struct Edits {
    size_t count = 0;
    size_t begin = 0; // first letter of the stretch of target that fits
    size_t last = 0;  // and its last letter
};

enum class Find { kCount, kStretch }; // kCount leaves begin at 0, and is twice as fast

// Finds the stretch of target that takes the fewest edits to become the whole query: if there are several, the one that
// ends first, and of those the longest. There are never more edits than the query has letters; with that many, the
// stretch is the first letter. Nothing if either text is empty.
std::optional<Edits> editsWithin(std::string_view query, std::string_view target, Find find);

} // namespace tarn::server
