// SPDX-License-Identifier: Apache-2.0
// Turns the numbers of a table's lists round, so that those that are held together lie evenly over all.
#pragma once

#include "catalogue/store.h"

namespace tarn::server {

namespace detail {
constexpr uint64_t kMix = 0x9e3779b97f4a7c15;
// The factor that turns back what an odd one turned.
constexpr uint64_t inverse(uint64_t odd) {
    uint64_t result = odd; // right in the lowest 3 bits; each step doubles that
    for (int step = 0; step < 5; ++step) result *= 2 - odd * result;
    return result;
}
static_assert(kMix * inverse(kMix) == 1);
constexpr uint64_t maskOf(ListTable table) { return (uint64_t{1} << bitsOf(table)) - 1; }
} // namespace detail

// number: of no more bits than the table's, which the result has as well.
constexpr uint64_t mixed(ListTable table, ListNumber number) { return number * detail::kMix & detail::maskOf(table); }
constexpr ListNumber unmixed(ListTable table, uint64_t mixed) {
    return mixed * detail::inverse(detail::kMix) & detail::maskOf(table);
}

} // namespace tarn::server
