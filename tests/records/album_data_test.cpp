// SPDX-License-Identifier: Apache-2.0
// Album data.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

#include <algorithm>
#include <cstdlib>

namespace kvxtest {

namespace {

TEST(NewAlbumData, TakesTheSizeOfATrackAndZeroesOnlyItsOwn) {
    const GuardedBlob blob(assemble(cAlbumDataFields()));
    CAlbumData* data = nullptr;
    {
        CountingHooks hooks;
        ASSERT_EQ(KVXLoadNewCAlbumFromBlob(blob.cursor(), &data), 0);
        EXPECT_EQ(textOf(data->text0), "text0");
        EXPECT_EQ(hooks.largest(), sizeof(Track));
        EXPECT_EQ(KVXFreeCAlbumData(&data), 0);
        EXPECT_EQ(data, nullptr);
        EXPECT_EQ(hooks.live(), 0U);
    }
    KVXMalloc = [](size_t size) -> void* {
        void* block = std::malloc(size);
        std::fill_n(static_cast<uint8_t*>(block), size, uint8_t{0xAA});
        return block;
    };
    const int32_t status = KVXLoadNewCAlbumFromBlob(blob.cursor(), &data);
    KVXMalloc = &std::malloc;
    ASSERT_EQ(status, 0);
    const auto* bytes = reinterpret_cast<const uint8_t*>(data);
    EXPECT_TRUE(std::all_of(bytes + sizeof(CAlbumData), bytes + sizeof(Track), [](uint8_t b) { return b == 0xAA; }));
    KVXFreeCAlbumData(&data);
}

TEST(NewAlbumData, IsNullWhenItCannotBeLoaded) {
    CountingHooks hooks;
    const GuardedBlob blob(rawBlob(1, {9, 99}, bytesOf("a")));
    CAlbumData other{};
    CAlbumData* data = &other;
    EXPECT_EQ(KVXLoadNewCAlbumFromBlob(blob.cursor(), &data), -1);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

} // namespace
} // namespace kvxtest
