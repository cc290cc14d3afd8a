// SPDX-License-Identifier: Apache-2.0
#include "json/recording_search.h"

#include <gtest/gtest.h>

using namespace tarn::server;

TEST(RecordingSearch, MeansRecordingsWithEveryWordInTheirNames) {
    Match recording;
    recording.tags.title = "First Song";
    recording.tags.artist = "Ödön Example";
    recording.tags.album = "Debut";
    recording.tags.albumArtist = "Various";
    recording.path = "/music/secret.flac";
    recording.trackId = "T-0123";
    const struct {
        const char* words;
        bool meant;
    } cases[] = {
        {"", true},           {"   ", true},       {"first", true}, {"FIRST song", true},   {"irs", true},
        {"debut exam", true}, {"various", true},   {"Ödön", true},  {"debut other", false}, {"secret", false},
        {"T-0123", false},    {"songödön", false},
    };
    for (const auto& c : cases) EXPECT_EQ(RecordingSearch(c.words).means(recording), c.meant) << c.words;
}
