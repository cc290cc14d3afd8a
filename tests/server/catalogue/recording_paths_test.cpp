// SPDX-License-Identifier: Apache-2.0
// What a catalogue remembers of several files with the same audio, whichever engine stores it.
#include "catalogue/catalogue.h"
#include "server/catalogue/catalogue_suite.h"
#include "support/server/sample_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

using namespace tarn::server;
using kvxtest::Catalogue;
using kvxtest::sampleRecording;
using ::testing::ElementsAre;

TEST_P(Catalogue, RemembersAllPathsOfTheSameAudio) {
    CatalogueWriter writer(location());
    const auto put = [&](const std::string& path, const std::string& title = "") {
        Recording recording = sampleRecording(2, title);
        recording.path = path;
        writer.put(recording);
    };
    const auto pathsThere = [&](uint32_t id) {
        writer.commit();
        const std::optional<Recording> recording = CatalogueReader(location()).recording(id);
        return recording ? pathsOf(*recording) : std::vector<std::string>();
    };
    for (const char* path : {"/m/a.flac", "/m/a.aiff", "/m/a.caf", "/m/a.aiff"}) put(path);
    EXPECT_THAT(pathsThere(1), ElementsAre("/m/a.aiff", "/m/a.caf", "/m/a.flac"));
    put("/m/a.flac", "Better title");
    EXPECT_THAT(pathsThere(1), ElementsAre("/m/a.flac", "/m/a.aiff", "/m/a.caf"));

    EXPECT_FALSE(writer.keepPaths(9, {"/m/b.flac"}));
    EXPECT_FALSE(writer.keepPaths(1, {}));
    EXPECT_TRUE(writer.keepPaths(1, {"/m/a.caf"}));
    EXPECT_THAT(pathsThere(1), ElementsAre("/m/a.caf"));

    Recording other = sampleRecording(2);
    other.path = "/m/a.wv";
    other.codes[0][0].letters += "abc";
    other.codes[0][0].frames.clear();
    writer.put(other); // another id, the same audio
    EXPECT_THAT(pathsThere(2), ElementsAre("/m/a.wv", "/m/a.caf"));

    for (int i = 0; i < 150; ++i) put("/m/" + std::to_string(i));
    const std::vector<std::string> paths = pathsThere(3);
    ASSERT_EQ(paths.size(), 101U);
    EXPECT_EQ(paths.front(), "/m/149");
    EXPECT_EQ(paths.back(), "/m/49");
}
