// SPDX-License-Identifier: Apache-2.0
#include "ingest/path_names.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using tarn::server::namesFromPath;
using tarn::server::Tags;

TEST(PathNames, SplitANumberFromATitleWhereItIsSurelyOne) {
    struct Case {
        const char* name;
        const char* title;
        uint32_t number;
    };
    const std::vector<Case> cases = {
        {"01 - Low Tide.flac", "Low Tide", 1},
        {"01. Low Tide.flac", "Low Tide", 1},
        {"01 Low Tide.flac", "Low Tide", 1},
        {"01-Low Tide.flac", "Low Tide", 1},
        {"01_Low Tide.flac", "Low Tide", 1},
        {"(01) Low Tide.flac", "(01) Low Tide", 0},
        {"1) Low Tide.flac", "Low Tide", 1},
        {"12 - Low Tide.flac", "Low Tide", 12},
        {"112. Low Tide.flac", "Low Tide", 112},
        {"1-03 Low Tide.flac", "Low Tide", 3},
        {"2-14 - Low Tide.flac", "Low Tide", 14},
        {"01 - 99 Ways.flac", "99 Ways", 1},
        {"01 - A - B.flac", "A - B", 1},
        {"Low Tide.flac", "Low Tide", 0},
        {"7 Seconds.flac", "7 Seconds", 0},
        {"99 Ways.flac", "99 Ways", 0},
        {"7-11.flac", "7-11", 0},
        {"1999.flac", "1999", 0},
        {"1999 - Low Tide.flac", "1999 - Low Tide", 0},
        {"01.flac", "01", 0},
        {"01 - .flac", "01 -", 0},
        {"3.5 Minutes.flac", "3.5 Minutes", 0},
        {"Caf\xE9.flac", "Caf\uFFFD", 0},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const Tags tags = namesFromPath(std::string("/music/") + each.name, "/music");
        EXPECT_EQ(tags.title, each.title);
        EXPECT_EQ(tags.number, each.number);
        EXPECT_EQ(tags.artist + tags.album, "");
    }
}

TEST(PathNames, TakeAlbumAndArtistFromFoldersBelowTheOneNamed) {
    struct Case {
        const char* path;
        const char* folder;
        const char* artist;
        const char* album;
    };
    const std::vector<Case> cases = {
        {"/home/anna/Music/x.wav", "/home/anna/Music", "", ""},
        {"/home/anna/Music/Lanterns/x.wav", "/home/anna/Music", "", "Lanterns"},
        {"/home/anna/Music/Lanterns/Thin Air/x.wav", "/home/anna/Music", "Lanterns", "Thin Air"},
        {"/home/anna/Music/L/Lanterns/Thin Air/x.wav", "/home/anna/Music", "Lanterns", "Thin Air"},
        {"/home/anna/Music/Lanterns/Thin Air/x.wav", "/home/anna/Music/Lanterns", "", "Thin Air"},
        {"/home/anna/Music/Lanterns/Thin Air/CD 2/x.wav", "/home/anna/Music", "Lanterns", "Thin Air"},
        {"/home/anna/Music/Lanterns/Thin Air/disc1/x.wav", "/home/anna/Music", "Lanterns", "Thin Air"},
        {"/home/anna/Music/Lanterns/Discovery 1/x.wav", "/home/anna/Music", "Lanterns", "Discovery 1"},
        {"/home/anna/Music/CD 2/x.wav", "/home/anna/Music", "", "CD 2"},
        {"/home/anna/Musical/Lanterns/Thin Air/x.wav", "/home/anna/Music", "", ""},
        {"/elsewhere/Lanterns/Thin Air/x.wav", "/home/anna/Music", "", ""},
        {"/Lanterns/Thin Air/x.wav", "/", "Lanterns", "Thin Air"},
        {"/Lanterns/Thin Air/x.wav", "", "", ""},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(std::string(each.path) + " below " + each.folder);
        const Tags tags = namesFromPath(each.path, each.folder);
        EXPECT_EQ(tags.artist, each.artist);
        EXPECT_EQ(tags.album, each.album);
        EXPECT_EQ(tags.title, "x");
    }
}

} // namespace
