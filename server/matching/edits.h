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
    size_t begin = 0; // of the stretch of target that fits, and its last letter
    size_t last = 0;
};

enum class Find { kCount, kStretch }; // kCount leaves begin at 0, and is twice as fast

// The whole of query somewhere in target: of several stretches that take the fewest edits the one that ends first, and
// of those the longest. Never more edits than the query has letters; then the stretch is the first letter. Nothing when
// one of them is empty.
std::optional<Edits> editsWithin(std::string_view query, std::string_view target, Find find);

} // namespace tarn::server
