// SPDX-License-Identifier: Apache-2.0
// What freeing a track releases, and what it leaves.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

namespace kvxtest {

namespace {

TEST(FreeingTrackContents, LeavesText18AndTheRecord) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(trackFields("", Sender::kServer)));
    Track track{};
    ASSERT_EQ(KVXLoadTrackFromBlob(blob.cursor(), &track), 0);
    const CTrackData* const data = track.trackData;
    EXPECT_EQ(KVXFreeTrackContents(&track), 0);
    EXPECT_EQ(hooks.live(), 2U);
    EXPECT_EQ(textOf(track.text18), "text18");
    EXPECT_EQ(track.trackData, data);
    EXPECT_EQ(track.artists, nullptr);
    EXPECT_EQ(track.yomiList5, nullptr);
    EXPECT_EQ(track.texts21, nullptr);
    EXPECT_EQ(track.descriptors, nullptr);
    KVXFreeValueLength(&track.text18);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(hooks.strayFrees(), 0);
    EXPECT_EQ(KVXFreeTrackContents(nullptr), 0);
}

TEST(FreeingTracks, FreesEveryElementAndLeavesEveryText18) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({assemble(Fields(3, assemble(trackFields("", Sender::kServer))))}));
    void* array = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(
        KVXGetNewArray(blob.cursor(), 0, sizeof(Track), &loadElement<Track, KVXLoadTrackFromBlob>, &array, &count), 0);
    auto* tracks = static_cast<Track*>(array);
    EXPECT_EQ(KVXFreeTracks(&tracks, 3), 0);
    EXPECT_EQ(tracks, nullptr);
    EXPECT_EQ(hooks.live(), 6U);
}

TEST(FreeingATrack, IgnoresNullPointers) {
    Track* none = nullptr;
    EXPECT_EQ(KVXFreeTrack(nullptr), 0);
    EXPECT_EQ(KVXFreeTrack(&none), 0);
    EXPECT_EQ(KVXFreeTracks(nullptr, 1), 0);
    EXPECT_EQ(KVXFreeTracks(&none, 1), 0);
}

} // namespace
} // namespace kvxtest
