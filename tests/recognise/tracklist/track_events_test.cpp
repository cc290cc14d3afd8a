// SPDX-License-Identifier: Apache-2.0
// What is said while a stream goes on, and when.
#include "recognise/tracklist/scripted_stream.h"

#include <gtest/gtest.h>

#include <map>

using namespace kvxtest;
using namespace tarn::recognise;

namespace {

const Script kRadio{
    300,
    {{"a", 0, 60, 0, 60}, {"b", 54, 120, 33, 0, 100, 1.01}, {"c", 150, 200, 0, 50}, {"d", 220, 290, 80}},
    {{205, 220}},
    {{230, 300}}};

std::map<uint64_t, std::vector<Event>> byNumber(const std::vector<Event>& events) {
    std::map<uint64_t, std::vector<Event>> sorted;
    for (const Event& event : events) sorted[event.entry.number].push_back(event);
    return sorted;
}

TEST(TrackEvents, BeginOnceAreCorrectedAndEndOnce) {
    const auto entries = byNumber(hear(kRadio).events);
    ASSERT_GE(entries.size(), 6U);
    for (const auto& [number, events] : entries) {
        SCOPED_TRACE(number);
        ASSERT_GE(events.size(), 2U);
        EXPECT_EQ(events.front().kind, EventKind::kBegin);
        EXPECT_EQ(events.back().kind, EventKind::kEnd);
        for (size_t i = 1; i + 1 < events.size(); ++i) EXPECT_EQ(events[i].kind, EventKind::kCorrection);
    }
}

TEST(TrackEvents, AreSaidInOrderAndNotBeforeTheyAreHeard) {
    int64_t atMs = 0;
    uint64_t begun = 0;
    for (const Event& event : hear(kRadio).events) {
        EXPECT_GE(event.atMs, atMs);
        atMs = event.atMs;
        EXPECT_LE(event.entry.startMs, event.atMs);
        EXPECT_LE(event.entry.endMs, event.atMs);
        if (event.kind != EventKind::kBegin) continue;
        EXPECT_EQ(event.entry.number, ++begun);
    }
}

TEST(TrackEvents, NameAPieceWithin15SecondsOfItsSound) {
    for (const double start : {40.0, 41.0, 42.0, 43.0, 43.9}) {
        SCOPED_TRACE(start);
        bool isNamed = false;
        for (const Event& event : hear({90, {{"a", 0, start, 30}, {"b", start, 90, 30}}}).events) {
            if (event.kind != EventKind::kBegin || event.entry.match.trackId != "b") continue;
            isNamed = true;
            EXPECT_LE(static_cast<double>(event.atMs) / 1000, start + 15);
        }
        EXPECT_TRUE(isNamed);
    }
}

TEST(TrackEvents, CorrectAStartWhenTheRecordingsOwnStartIsKnown) {
    // The first window that names it begins before it, where its place is 0 for any start.
    const auto events = hear({120, {{"a", 0, 61, 30}, {"b", 61, 120, 0, 59}}}).events;
    int64_t startMs = 0;
    bool isCorrected = false;
    for (const Event& event : events) {
        if (event.entry.match.trackId != "b") continue;
        startMs = event.entry.startMs;
        isCorrected = isCorrected || event.kind == EventKind::kCorrection;
    }
    EXPECT_TRUE(isCorrected);
    EXPECT_EQ(startMs, 61'000);
}

TEST(TrackEvents, SayUnknownSoundBeforeItsEnd) {
    const auto events = hear({200, {{"a", 0, 60, 0, 60}}}).events;
    const auto unknown = std::find_if(events.begin(), events.end(),
                                      [](const Event& event) { return event.entry.kind == EntryKind::kUnknown; });
    ASSERT_NE(unknown, events.end());
    EXPECT_EQ(unknown->kind, EventKind::kBegin);
    EXPECT_LE(unknown->atMs, 110'000);
}

} // namespace
