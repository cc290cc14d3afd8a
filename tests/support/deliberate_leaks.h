// SPDX-License-Identifier: Apache-2.0
// What the library leaves unreleased on purpose, as an exact count.
#pragma once

#include "records/record_table.h"

#include <cstddef>
#include <cstdint>

namespace kvxtest {

// Blocks that freeing the record's contents leaves on purpose: two, object and bytes, for every text that its row
// keeps.
inline size_t deliberateLeakBlocks(const kvx::RecordTable& table, const void* record) {
    size_t blocks = 0;
    for (const kvx::FieldRow& row : table.rows) {
        if (row.isKeptOnFree && row.pointer(record) != nullptr) blocks += 2;
        if (row.element == nullptr || row.pointer(record) == nullptr) continue;
        const size_t count = row.kind == kvx::FieldKind::kRecords ? row.number(record) : 1;
        const auto* elements = static_cast<const uint8_t*>(row.pointer(record));
        for (size_t i = 0; i < count; ++i) {
            blocks += deliberateLeakBlocks(*row.element, elements + i * row.element->recordBytes);
        }
    }
    return blocks;
}

} // namespace kvxtest
