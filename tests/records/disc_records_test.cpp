// SPDX-License-Identifier: Apache-2.0
// Media and their tracks.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

namespace kvxtest {

namespace {

TEST(DiscRecord, WritesTheStartOfItsTracksItself) {
    const CDMedia none{nullptr, 0, 1002, 1001};
    EXPECT_EQ(hexDump(written(kvx::kCDMedia, &none)), hexDump(assemble({{}, shortBytes(1001), shortBytes(1002)})));

    Track track{};
    Text title("t");
    track.title = title.get();
    const CDMedia one{&track, 1, 1002, 1001};
    Fields trackFields(23);
    trackFields[1] = bytesOf("t");
    for (const size_t index : Indexes{3, 4, 15, 16, 19, 22}) trackFields[index] = shortBytes(0);
    const Bytes expected = assemble({assemble({assemble(trackFields)}), shortBytes(1001), shortBytes(1002)});
    EXPECT_EQ(hexDump(written(kvx::kCDMedia, &one)), hexDump(expected));
    uint32_t size = 0;
    EXPECT_EQ(KVXGetDiscBlobSize(&one, &size), 0);
    EXPECT_EQ(size, expected.size());
}

TEST(DiscRecord, FillsItsMembers) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble(cdMediaFields()));
    auto* media = static_cast<CDMedia*>(KVXMalloc(sizeof(CDMedia)));
    *media = {};
    ASSERT_EQ(KVXLoadCDMediaFromBlob(blob.cursor(), media), 0);
    EXPECT_EQ(media->short1, 1001);
    EXPECT_EQ(media->short2, 1002);
    ASSERT_EQ(media->trackCount, 2);
    EXPECT_EQ(textOf(media->tracks[0].text20), "0.0 text20");
    EXPECT_EQ(textOf(media->tracks[1].trackId), "0.1 trackId");
    EXPECT_EQ(KVXFreeDiscs(&media, 1), 0);
    EXPECT_EQ(media, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(DiscRecord, DoesNotAskItsTracksFor14Fields) {
    CountingHooks hooks;
    // One field, then the count test's absence shows in what was allocated before the failure: array and trackId.
    const Bytes track = assemble({intBytes(13)});
    const GuardedBlob blob(assemble({assemble({track}), shortBytes(1), shortBytes(2)}));
    CDMedia media{};
    EXPECT_EQ(KVXLoadCDMediaFromBlob(blob.cursor(), &media), -1);
    ASSERT_EQ(media.trackCount, 1);
    EXPECT_NE(media.tracks[0].trackId, nullptr);
    KVXFreeTracks(&media.tracks, 1);
    EXPECT_EQ(hooks.live(), 0U);
}

} // namespace
} // namespace kvxtest
