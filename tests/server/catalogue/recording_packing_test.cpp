// SPDX-License-Identifier: Apache-2.0
#include "catalogue/recording_packing.h"
#include "support/server/sample_recording.h"

#include <gtest/gtest.h>

using namespace tarn::server;
using kvxtest::sampleRecording;

TEST(PackedRecording, ComesBackWhole) {
    const Recording recording = sampleRecording(7);
    const std::optional<Recording> back = unpackRecording(packRecording(recording));
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(back->id, 0U); // the document's
    EXPECT_EQ(back->trackId, recording.trackId);
    EXPECT_EQ(back->albumId, recording.albumId);
    EXPECT_EQ(back->contentHash, recording.contentHash);
    EXPECT_EQ(back->path, recording.path);
    EXPECT_EQ(back->durationMs, recording.durationMs);
    EXPECT_EQ(back->tags.title, recording.tags.title);
    EXPECT_EQ(back->tags.artist, recording.tags.artist);
    EXPECT_EQ(back->tags.album, recording.tags.album);
    EXPECT_EQ(back->tags.albumArtist, recording.tags.albumArtist);
    EXPECT_EQ(back->tags.number, 7U);
    EXPECT_EQ(back->tags.year, 1999U);
    EXPECT_EQ(back->trackBlob, recording.trackBlob);
    EXPECT_EQ(back->albumBlob, recording.albumBlob);
    for (size_t p = 0; p < kCodings.size(); ++p) {
        for (size_t c = 0; c < kCodebooks; ++c) {
            EXPECT_EQ(back->codes[p][c].letters, recording.codes[p][c].letters);
            EXPECT_EQ(back->codes[p][c].frames, recording.codes[p][c].frames);
        }
    }
}

TEST(PackedRecording, IsRefusedWhereverItEndsEarly) {
    const std::string packed = packRecording(sampleRecording(3));
    for (size_t length = 0; length < packed.size(); ++length) {
        SCOPED_TRACE(length);
        const std::vector<char> exact(packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(unpackRecording({exact.data(), exact.size()}).has_value());
    }
}

TEST(PackedRecording, IsRefusedInAnotherFormatAndWithBytesAfter) {
    std::string packed = packRecording(sampleRecording(3));
    EXPECT_FALSE(unpackRecording(packed + "x").has_value());
    for (const char format : {'\x02', '\x04'}) {
        packed[0] = format;
        EXPECT_FALSE(unpackRecording(packed).has_value());
    }
}
