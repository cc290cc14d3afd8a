// SPDX-License-Identifier: Apache-2.0
// Track data.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

#include <algorithm>
#include <cstdlib>

namespace kvxtest {

namespace {

// Blocks from the hooks full of 0xAA, so that bytes which nobody has written show.
struct PaintedMemory {
    PaintedMemory() {
        KVXMalloc = [](size_t size) -> void* {
            void* block = std::malloc(size);
            std::fill_n(static_cast<uint8_t*>(block), size, uint8_t{0xAA});
            return block;
        };
    }
    ~PaintedMemory() { KVXMalloc = &std::malloc; }
    PaintedMemory(const PaintedMemory&) = delete;
    PaintedMemory& operator=(const PaintedMemory&) = delete;
};

TEST(NewTrackData, TakesTheSizeOfATrackAndZeroesOnlyItsOwn) {
    const GuardedBlob blob(assemble(cTrackDataFields()));
    CTrackData* data = nullptr;
    {
        CountingHooks hooks;
        ASSERT_EQ(KVXLoadNewCTrackFromBlob(blob.cursor(), &data), 0);
        EXPECT_EQ(textOf(data->text4), "text4");
        EXPECT_EQ(hooks.largest(), sizeof(Track));
        KVXFreeCTrackData(&data);
        EXPECT_EQ(hooks.live(), 0U);
    }
    const PaintedMemory painted;
    ASSERT_EQ(KVXLoadNewCTrackFromBlob(blob.cursor(), &data), 0);
    const auto* bytes = reinterpret_cast<const uint8_t*>(data);
    EXPECT_TRUE(std::all_of(bytes + sizeof(CTrackData), bytes + sizeof(Track), [](uint8_t b) { return b == 0xAA; }));
    KVXFreeCTrackData(&data);
}

TEST(NewTrackData, LeavesThePointerDanglingWhenItCannotBeLoaded) {
    CountingHooks hooks;
    Bytes bytes = assemble(cTrackDataFields());
    bytes.pop_back();
    const GuardedBlob blob(bytes);
    CTrackData* data = nullptr;
    EXPECT_EQ(KVXLoadNewCTrackFromBlob(blob.cursor(), &data), -1);
    EXPECT_NE(data, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(hooks.strayFrees(), 0);
}

TEST(NewTrackData, IsRefusedBelow5FieldsWithThePointerUntouched) {
    CountingHooks hooks;
    Fields fields = cTrackDataFields();
    fields.pop_back();
    const GuardedBlob blob(assemble(fields));
    CTrackData other{};
    CTrackData* data = &other;
    EXPECT_EQ(KVXLoadNewCTrackFromBlob(blob.cursor(), &data), -1);
    EXPECT_EQ(data, &other);
    EXPECT_EQ(hooks.allocations(), 0);
}

TEST(FreeingTrackData, LeavesTheCallersPointer) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(cTrackDataFields()));
    CTrackData* data = nullptr;
    ASSERT_EQ(KVXLoadNewCTrackFromBlob(blob.cursor(), &data), 0);
    CTrackData* const before = data;
    EXPECT_EQ(KVXFreeCTrackData(&data), 0);
    EXPECT_EQ(data, before);
    EXPECT_EQ(hooks.live(), 0U);
    CTrackData* none = nullptr;
    EXPECT_EQ(KVXFreeCTrackData(nullptr), 0);
    EXPECT_EQ(KVXFreeCTrackData(&none), 0);
}

} // namespace
} // namespace kvxtest
