// SPDX-License-Identifier: Apache-2.0
// A mix of made-up music over a real catalogue.
#include "recognise/tracklist/music_catalogue.h"
#include "recognise/tracklist/track_lister.h"

#include <gtest/gtest.h>

using namespace kvxtest;
using namespace tarn::recognise;

namespace {

struct Listed {
    EntryKind kind;
    const char* title;
    double start;
    double end;
    double place;
};

TEST(MixOfMusic, IsListed) {
    MusicCatalogue catalogue;
    std::vector<int16_t> mix;
    mixIn(mix, 1, 0, 50, 0);    // 0 to 50 s
    mixIn(mix, 2, 14.5, 45, 5); // 45 to 90 s
    mixIn(mix, 99, 0, 40, 0);   // 90 to 130 s, unknown
    mix.resize(mix.size() + static_cast<size_t>(8 * kMusicRateHz));
    mixIn(mix, 3, 0, 45, 0); // 138 to 183 s
    mixIn(mix, 4, 0, 40, 3); // 180 to 220 s
    const Listed kList[] = {
        {EntryKind::kPiece, "1", 0, 50, 0},    {EntryKind::kPiece, "2", 45, 90, 14.5},
        {EntryKind::kUnknown, "", 90, 130, 0}, {EntryKind::kSilence, "", 130, 138, 0},
        {EntryKind::kPiece, "3", 138, 183, 0}, {EntryKind::kPiece, "4", 180, 220, 0},
    };

    std::vector<Entry> entries;
    TrackLister lister(catalogue.asker(), [&entries](const Event& event) {
        if (event.kind == EventKind::kEnd && event.entry.endMs > event.entry.startMs) entries.push_back(event.entry);
    });
    lister.add(mix);
    lister.finish();

    ASSERT_EQ(entries.size(), std::size(kList));
    for (size_t i = 0; i < entries.size(); ++i) {
        SCOPED_TRACE(i);
        const Entry& entry = entries[i];
        EXPECT_EQ(entry.kind, kList[i].kind);
        EXPECT_EQ(entry.match.title, kList[i].title);
        // Borders in a cross-fade, or next to unknown sound, lie within some seconds.
        EXPECT_NEAR(static_cast<double>(entry.startMs) / 1000, kList[i].start, 4.5);
        EXPECT_NEAR(static_cast<double>(entry.endMs) / 1000, kList[i].end, 5);
        if (entry.kind != EntryKind::kPiece) continue;
        const double start = static_cast<double>(entry.startMs) / 1000;
        EXPECT_NEAR(static_cast<double>(entry.match.offsetMs.value_or(0)) / 1000,
                    kList[i].place + start - kList[i].start, 1);
    }
    EXPECT_NEAR(static_cast<double>(entries[4].startMs) / 1000, 138, 0.5); // its own start
    EXPECT_NEAR(static_cast<double>(entries[5].startMs) / 1000, 180, 1);
}

} // namespace
