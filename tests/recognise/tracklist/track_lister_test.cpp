// SPDX-License-Identifier: Apache-2.0
// What is listed of scripted streams. A scripted piece is named when it has sounded for 6 s, as if it were cut in; a
// start in the middle of a recording is therefore given 3 to 4 s early, an end 3 to 4 s late.
#include "recognise/tracklist/scripted_stream.h"

#include <gtest/gtest.h>

using namespace kvxtest;
using namespace tarn::recognise;

namespace {

struct Case {
    const char* name;
    Script script;
    const char* list;
};

const Case kCases[] = {
    {"one piece", {60, {{"a", 0, 60, 30}}}, "a 0-60"},
    {"two pieces from their own starts to their own ends",
     {120, {{"a", 0, 60, 0, 60}, {"b", 60, 120, 0, 60}}},
     "a 0-60, b 60-120"},
    {"a cross-fade: both sound", {120, {{"a", 0, 64, 0, 64}, {"b", 58, 120, 0, 62}}}, "a 0-64, b 58-120"},
    {"pieces from the middle", {120, {{"a", 0, 60, 30}, {"b", 60, 120, 40}}}, "a 0-64, b 57-120"},
    {"unknown sound between",
     {180, {{"a", 0, 60, 0, 60}, {"b", 100, 180, 0, 80}}},
     "a 0-60, unknown 60-100, b 100-180"},
    {"unknown sound at both ends", {120, {{"a", 40, 80, 0, 40}}}, "unknown 0-40, a 40-80, unknown 80-120"},
    {"a short unknown stretch is not named", {120, {{"a", 0, 60, 0, 60}, {"b", 68, 120, 0, 52}}}, "a 0-60, b 68-120"},
    {"only unknown sound", {60, {}}, "unknown 0-60"},
    {"only silence", {60, {}, {{0, 60}}}, "silence 0-60"},
    {"silence is not taken for unknown sound",
     {160, {{"a", 0, 60, 30}, {"b", 120, 160, 50}}, {{60, 75}}},
     "a 0-60, silence 60-75, unknown 75-117, b 117-160"},
    {"a piece after a silence begins where the silence ends",
     {120, {{"a", 0, 50, 30}, {"b", 60, 120, 50}}, {{50, 60}}},
     "a 0-50, silence 50-60, b 60-120"},
    {"a drop-out in a piece", {150, {{"a", 0, 60, 30}, {"a", 80, 150, 110}}}, "a 0-150"},
    {"a silent drop-out in a piece", {150, {{"a", 0, 60, 30}, {"a", 80, 150, 110}}, {{60, 80}}}, "a 0-150"},
    {"a piece that is gone for long is two entries",
     {200, {{"a", 0, 60, 30}, {"a", 120, 200, 150}}},
     "a 0-64, unknown 64-117, a 117-200"},
    {"a repeated passage", {140, {{"a", 0, 60, 30}, {"a", 60, 140, 50}}}, "a 0-140"},
    {"a piece that is played twice is two entries",
     {120, {{"a", 0, 60, 0, 60}, {"a", 60, 120, 0, 60}}},
     "a 0-60, a 60-120"},
    {"a piece that is begun anew before its end",
     {120, {{"a", 0, 50, 0, 90}, {"a", 50, 120, 0, 90}}},
     "a 0-50, a 50-120"},
    {"copies of one recording are one piece",
     {120, {{"a", 0, 60, 0, 120, 100, 1, 0, {"c"}}, {"c", 60, 120, 60, 120, 100, 1, 0, {"a"}}}},
     "a 0-120"},
    {"doubtful windows on different diagonals name nothing", {60, {{"a", 0, 60, 0, 0, 90, 1, 20}}}, "unknown 0-60"},
    {"doubtful windows on one diagonal name a piece", {60, {{"a", 0, 60, 30, 0, 88}}}, "a 0-60"},
    {"a doubtful window of another piece", {120, {{"a", 0, 120, 0, 120}, {"x", 50, 58.5, 70, 0, 90}}}, "a 0-120"},
    {"what could not be asked",
     {160, {{"a", 0, 50, 0, 50}, {"b", 110, 160, 0, 50}}, {}, {{50, 105}}},
     "a 0-50, not asked 50-104, b 110-160"},
    {"a short outage in a piece", {120, {{"a", 0, 120, 0, 120}}, {}, {{50, 66}}}, "a 0-120"},
    {"nothing could be asked", {60, {{"a", 0, 60}}, {}, {{0, 60}}}, "not asked 0-60"},
    {"a server that says no places",
     {120, {{"a", 0, 60, 0, 0, 100, 1, 0, {}, false}, {"b", 60, 120, 0, 0, 90, 1, 0, {}, false}}},
     "a 0-64, b 57-120"},
    {"2 % faster", {120, {{"a", 0, 60, 0, 61.2, 100, 1.02}, {"b", 60, 120, 0, 61.2, 100, 1.02}}}, "a 0-60, b 60-120"},
    {"the last seconds are asked about", {47, {{"a", 0, 30, 0, 30}, {"b", 38, 47, 30}}}, "a 0-30, b 35-47"},
    {"9 s of a piece", {9, {{"a", 0, 9, 20}}}, "a 0-9"},
    {"too little to be asked about", {6, {{"a", 0, 6}}}, ""},
    {"nothing", {0, {}}, ""},
};

TEST(TrackLister, ListsWhatPlays) {
    for (const Case& each : kCases) {
        SCOPED_TRACE(each.name);
        EXPECT_EQ(textOf(hear(each.script).entries), each.list);
    }
}

TEST(TrackLister, ListsTheSameWhateverThePieces) {
    for (const size_t i : {4U, 9U, 22U}) {
        SCOPED_TRACE(kCases[i].name);
        const Script& script = kCases[i].script;
        const std::string list = textOf(hear(script).entries);
        EXPECT_EQ(textOf(hear(script, 1'000'000'000).entries), list);
        EXPECT_EQ(textOf(hear(script, 997).entries), list);
    }
}

TEST(TrackLister, SaysWhereInTheRecordingAPieceStarts) {
    const Heard heard = hear({180, {{"a", 0, 60, 30}, {"b", 60, 120, 0, 60}, {"c", 120, 180, 45}}});
    ASSERT_EQ(heard.entries.size(), 3U);
    EXPECT_EQ(heard.entries[0].match.offsetMs, 30'000U);
    EXPECT_EQ(heard.entries[1].match.offsetMs, 0U);
    // Where the entry starts, which is before the piece does.
    const double start = static_cast<double>(heard.entries[2].startMs) / 1000;
    EXPECT_NEAR(static_cast<double>(heard.entries[2].match.offsetMs.value_or(0)) / 1000, 45 + start - 120, 0.1);
}

TEST(TrackLister, SaysASpeedThatIsClear) {
    const Heard heard = hear({160, {{"a", 0, 80, 30, 0, 100, 0.985}, {"b", 80, 160, 0, 80}}});
    ASSERT_EQ(heard.entries.size(), 2U);
    ASSERT_TRUE(heard.entries[0].speed.has_value());
    EXPECT_NEAR(heard.entries[0].speed.value_or(0), 0.985, 0.001);
    EXPECT_FALSE(heard.entries[1].speed.has_value());
}

TEST(TrackLister, SaysWhyAPartWasNotAsked) {
    const Heard heard = hear({60, {}, {}, {{0, 60}}});
    ASSERT_EQ(heard.entries.size(), 1U);
    EXPECT_EQ(heard.entries[0].reason, "the server is away");
    EXPECT_EQ(heard.windowsAsked, 0U);
    EXPECT_EQ(heard.windowsNotAsked, 13U); // they start at 0, 4, ... 48 s
}

TEST(TrackLister, GivesUpWhenToldTo) {
    class Away : public Asker {
      public:
        Answer ask(std::span<const int16_t>) override {
            ++asked;
            throw NoAnswer("away");
        }
        int asked = 0;
    };
    Away away;
    TrackLister lister(away, {}, 3);
    lister.add(samplesOf({60, {}}));
    lister.finish();
    EXPECT_EQ(away.asked, 3);
    EXPECT_EQ(lister.windowsNotAsked(), 13U);
}

TEST(TrackLister, AsksNothingAboutSilence) { EXPECT_EQ(hear({60, {}, {{0, 60}}}).windowsAsked, 0U); }

TEST(TrackLister, KeepsABoundedHistory) {
    ScriptedAsker asker({});
    TrackLister lister(asker, {});
    const std::vector<int16_t> samples = samplesOf({601, {}});
    size_t most = 0;
    for (size_t at = 0; at < samples.size(); at += 30'011) {
        lister.add(std::span<const int16_t>(samples).subspan(at, std::min<size_t>(30'011, samples.size() - at)));
        most = std::max(most, lister.keptSamples());
    }
    EXPECT_LE(most, SampleHistory::kMaxSamples);
    EXPECT_GT(most, SampleHistory::kMaxSamples / 2);
    EXPECT_EQ(lister.heardMs(), 601'000);
}

} // namespace
