// SPDX-License-Identifier: Apache-2.0
#include "support/files.h"
#include "support/server/small_collection.h"

#include "base/reason.h"
#include "commands/add.h"

#include <gmock/gmock.h>

#include <fstream>

namespace {

namespace fs = std::filesystem;
using kvxtest::Added;
using kvxtest::addTo;
using kvxtest::linesWith;
using kvxtest::recordingsIn;
using kvxtest::TemporaryDirectory;
using kvxtest::writeSmallCollection;

TEST(Add, PutsEveryFileIntoTheCatalogueWithItsTags) {
    const TemporaryDirectory folder;
    const auto paths = writeSmallCollection(folder / "music", 7);
    const Added added = addTo(folder / "catalogue", {(folder / "music").string()});
    EXPECT_EQ(added.status, 0) << added.err;
    EXPECT_EQ(linesWith(added.out, "added "), 7U) << added.out;
    EXPECT_THAT(added.out, testing::HasSubstr("7 added, 0 updated, 0 unchanged, 0 skipped; 0:28 of audio in"));
    EXPECT_EQ(added.err, "");

    const auto recordings = recordingsIn(folder / "catalogue");
    ASSERT_EQ(recordings.size(), 7U);
    for (uint32_t index = 0; index < 7; ++index) {
        SCOPED_TRACE(paths[index]);
        const auto at = std::find_if(recordings.begin(), recordings.end(),
                                     [&](const auto& each) { return each.path == fs::canonical(paths[index]); });
        ASSERT_NE(at, recordings.end());
        const auto tags = tarn::demo::tagsOfPiece(1, index);
        EXPECT_EQ(at->tags.title, tags.title);
        EXPECT_EQ(at->tags.artist, tags.artist);
        EXPECT_EQ(at->tags.album, tags.album);
        EXPECT_EQ(at->tags.number, tags.number);
        EXPECT_EQ(at->durationMs, 4000U);
        EXPECT_THAT(added.out, testing::HasSubstr("added " + at->path + ": " + at->trackId + ", 0:04, " + tags.artist +
                                                  " - " + tags.title));
    }
}

TEST(Add, TakesAgainOnlyWhatChanged) {
    const TemporaryDirectory folder;
    const auto paths = writeSmallCollection(folder / "music", 4);
    ASSERT_EQ(addTo(folder / "catalogue", {(folder / "music").string()}).status, 0);

    const Added again = addTo(folder / "catalogue", {(folder / "music").string()});
    EXPECT_EQ(again.status, 0);
    EXPECT_THAT(again.out, testing::StartsWith("0 added, 0 updated, 4 unchanged, 0 skipped"));

    tarn::server::Tags tags = tarn::demo::tagsOfPiece(1, 2);
    tags.title = "Another Title";
    tarn::demo::writeTags(paths[2], tags);
    const Added changed = addTo(folder / "catalogue", {(folder / "music").string()});
    EXPECT_THAT(changed.out, testing::HasSubstr("0 added, 1 updated, 3 unchanged, 0 skipped"));
    const auto recordings = recordingsIn(folder / "catalogue");
    ASSERT_EQ(recordings.size(), 4U);
    EXPECT_EQ(std::count_if(recordings.begin(), recordings.end(),
                            [](const auto& each) { return each.tags.title == "Another Title"; }),
              1);
}

TEST(Add, UpdatesTheSameAudioFromAnotherFile) {
    const TemporaryDirectory folder;
    const auto sound = tarn::demo::renderPiece(3, 4, 22050, 1);
    writeSound(folder / "a.wav", sound, tarn::demo::FileFormat::kWav);
    writeSound(folder / "b.flac", sound, tarn::demo::FileFormat::kFlac);
    ASSERT_EQ(addTo(folder / "catalogue", {(folder / "a.wav").string()}).status, 0);
    const Added added = addTo(folder / "catalogue", {(folder / "b.flac").string()});
    EXPECT_EQ(linesWith(added.out, "updated "), 1U) << added.out;
    const auto recordings = recordingsIn(folder / "catalogue");
    ASSERT_EQ(recordings.size(), 1U);
    EXPECT_EQ(recordings[0].tags.title, "b");
}

// Within one batch too.
TEST(Add, StoresTheSameAudioTwiceInOneRunOnce) {
    const TemporaryDirectory folder;
    const auto sound = tarn::demo::renderPiece(3, 4, 22050, 1);
    for (const char* name : {"a.wav", "b.wav", "c.wav"}) {
        writeSound(folder / name, sound, tarn::demo::FileFormat::kWav);
    }
    const Added added = addTo(folder / "catalogue", {folder.path().string()});
    EXPECT_THAT(added.out, testing::HasSubstr("1 added, 2 updated, 0 unchanged, 0 skipped"));
    EXPECT_EQ(recordingsIn(folder / "catalogue").size(), 1U);
}

TEST(Add, NamesBadFilesAndGoesOn) {
    const TemporaryDirectory folder;
    writeSmallCollection(folder / "music", 3);
    kvxtest::writePrivate(folder / "music/empty.flac", "");
    kvxtest::writePrivate(folder / "music/text.mp3", std::string(5000, 'x'));
    kvxtest::writePrivate(folder / "music/cover.jpg", "not counted");
    const Added added = addTo(folder / "catalogue", {(folder / "missing").string(), (folder / "music").string()});
    EXPECT_EQ(added.status, tarn::server::kFilesSkipped);
    EXPECT_THAT(added.out, testing::HasSubstr("3 added, 0 updated, 0 unchanged, 3 skipped"));
    EXPECT_EQ(linesWith(added.err, "skipped "), 3U);
    EXPECT_THAT(added.err, testing::HasSubstr("music/empty.flac: the file is empty"));
    EXPECT_THAT(added.err, testing::HasSubstr("missing: No such file"));
    EXPECT_EQ(recordingsIn(folder / "catalogue").size(), 3U);
    // What could not be read may be readable next time.
    EXPECT_THAT(addTo(folder / "catalogue", {(folder / "music").string()}).out,
                testing::HasSubstr("0 added, 0 updated, 3 unchanged, 2 skipped"));
}

TEST(Add, CommitsInBatches) {
    const TemporaryDirectory folder;
    writeSmallCollection(folder / "music", 5);
    const Added added = addTo(folder / "catalogue", {(folder / "music").string()}, 2);
    EXPECT_EQ(added.status, 0);
    EXPECT_EQ(linesWith(added.out, "added "), 5U);
    EXPECT_EQ(recordingsIn(folder / "catalogue").size(), 5U);
}

TEST(Add, DrawsABarOnATerminalInPlaceOfLines) {
    const TemporaryDirectory folder;
    writeSmallCollection(folder / "music", 3);
    std::ostringstream out;
    std::ostringstream err;
    tarn::server::AddOptions options;
    options.catalogue = (folder / "catalogue").string();
    options.paths = {(folder / "music").string()};
    options.progressBar = true;
    EXPECT_EQ(runAdd(options, out, err), tarn::server::kAllInCatalogue);
    EXPECT_THAT(out.str(), testing::HasSubstr("/3 files"));
    EXPECT_THAT(out.str(), testing::HasSubstr("\r\033[K3 added, 0 updated"));
    EXPECT_EQ(linesWith(out.str(), "added "), 0U);
}

TEST(Reason, IsAWordForAUser) {
    EXPECT_EQ(tarn::server::reasonOf(std::bad_alloc()), "there is not enough memory");
    EXPECT_EQ(tarn::server::reasonOf(std::runtime_error("why")), "why");
}

TEST(Add, IsRefusedWhileAnotherWriterIsAtWork) {
    const TemporaryDirectory folder;
    writeSmallCollection(folder / "music", 1);
    const tarn::server::CatalogueWriter other((folder / "catalogue").string());
    const Added added = addTo(folder / "catalogue", {(folder / "music").string()});
    EXPECT_EQ(added.status, tarn::server::kAddFailed);
    EXPECT_THAT(added.err, testing::HasSubstr("another process"));
    EXPECT_EQ(added.out, "");
}

} // namespace
