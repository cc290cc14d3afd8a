// SPDX-License-Identifier: Apache-2.0
// What the tests of records share: cursors, texts as strings, storage for any record, counts of deliberate leaks.
#pragma once

#include "kvx.h"
#include "records/all_records.h"
#include "records/record_walkers.h"
#include "support/deliberate_leaks.h"
#include "support/guarded_bytes.h"
#include "support/hex.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace kvxtest {

// Bytes at the end of a page, and a reading cursor on them.
class GuardedBlob {
  public:
    explicit GuardedBlob(std::span<const uint8_t> bytes)
        : bytes_(bytes), cursor_{bytes_.data(), 0, static_cast<uint32_t>(bytes_.size())} {}
    const KVXBlob* cursor() const { return &cursor_; }
    const uint8_t* data() const { return bytes_.data(); }

  private:
    GuardedBytes bytes_;
    KVXBlob cursor_;
};

// "(null)" for none; fails the test when the zero byte after the text is missing.
inline std::string textOf(const KVXValueLength* value) {
    if (value == nullptr) return "(null)";
    EXPECT_EQ(value->data[value->length], 0);
    return {value->data, value->length};
}

// Every text of an array, joined by '|'.
inline std::string textsOf(const KVXValueLength* values, size_t count) {
    std::string joined;
    for (size_t i = 0; i < count; ++i) joined += (i == 0 ? "" : "|") + textOf(&values[i]);
    return joined;
}

// A text that lives in the test: the library only reads it.
class Text {
  public:
    explicit Text(std::string_view text) : text_(text), value_{text_.data(), static_cast<uint32_t>(text_.size())} {}
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    KVXValueLength* get() { return &value_; }

  private:
    std::string text_;
    KVXValueLength value_;
};

// A record's C functions in the shape of element callbacks.
template <class Record, int32_t (*kLoad)(const KVXBlob*, Record*)>
int32_t loadElement(const KVXBlob* blob, void* element) {
    return kLoad(blob, static_cast<Record*>(element));
}
template <class Record, int32_t (*kWrite)(const Record*, KVXBlob*)>
int32_t writeElement(const void* element, KVXBlob* blob) {
    return kWrite(static_cast<const Record*>(element), blob);
}

// Zeroed storage for one record of any kind.
class AnyRecord {
  public:
    explicit AnyRecord(const kvx::RecordTable& table)
        : table_(table), storage_(table.recordBytes / sizeof(uint64_t) + 1) {}
    void* get() { return storage_.data(); }
    const void* get() const { return storage_.data(); }
    int32_t load(const KVXBlob* blob) { return kvx::publicStatus(kvx::loadFields(table_, blob, get())); }
    void freeContents() { kvx::freeFields(table_, get()); }

  private:
    const kvx::RecordTable& table_;
    std::vector<uint64_t> storage_; // aligned for pointers, zeroed
};

// Writes a record into a buffer of exactly the measured size, whose end is guarded and which is full of 0xCC before.
inline Bytes written(const kvx::RecordTable& table, const void* record) {
    uint32_t size = 0;
    EXPECT_EQ(kvx::measureFields(table, record, &size), 0);
    const GuardedBytes buffer(Bytes(size, 0xCC));
    KVXBlob cursor{buffer.data(), 0, 0};
    EXPECT_EQ(kvx::writeFields(table, record, &cursor), 0);
    EXPECT_EQ(cursor.length, size);
    return {buffer.data(), buffer.data() + size};
}

} // namespace kvxtest
