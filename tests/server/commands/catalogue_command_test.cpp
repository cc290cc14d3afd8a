// SPDX-License-Identifier: Apache-2.0
#include "commands/catalogue.h"
#include "commands/duplicates.h"
#include "commands/remove.h"
#include "commands/transfer.h"

#include "support/files.h"
#include "support/server/small_collection.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace {

namespace fs = std::filesystem;
using kvxtest::addTo;
using kvxtest::recordingsIn;
using kvxtest::TemporaryDirectory;
using tarn::server::Recording;
using testing::HasSubstr;

class CatalogueCommands : public testing::Test {
  protected:
    CatalogueCommands() {
        kvxtest::writeSmallCollection(folder_ / "music", 3);
        EXPECT_EQ(addTo(catalogue_, {(folder_ / "music").string()}).status, 0);
    }

    // Runs a command; its output is then in out_ and err_.
    template <class Command, class... Arguments>
    int run(Command command, const Arguments&... arguments) {
        std::ostringstream out;
        std::ostringstream err;
        const int status = command(catalogue_, arguments..., out, err);
        out_ = out.str();
        err_ = err.str();
        return status;
    }

    TemporaryDirectory folder_;
    std::string catalogue_ = (folder_ / "catalogue").string();
    std::string out_;
    std::string err_;
};

TEST_F(CatalogueCommands, ListARecordingALine) {
    EXPECT_EQ(run(tarn::server::runList, false), 0);
    std::string expected;
    for (const Recording& each : recordingsIn(catalogue_)) {
        expected += std::to_string(each.id) + "\t" + each.trackId + "\t0:04\t" + each.tags.artist + "\t" +
                    each.tags.title + "\t" + each.tags.album + "\t" + each.path + "\n";
    }
    EXPECT_EQ(out_, expected);
    EXPECT_EQ(std::count(out_.begin(), out_.end(), '\n'), 3);
}

TEST_F(CatalogueCommands, ShowARecordingByNumberOrTrackId) {
    const Recording recording = recordingsIn(catalogue_).at(1);
    EXPECT_EQ(run(tarn::server::runShow, std::to_string(recording.id), false), 0);
    const std::string byNumber = out_;
    for (const std::string& fact : {recording.trackId, recording.albumId, recording.tags.title, recording.path,
                                    recording.contentHash, std::string("0:04")}) {
        EXPECT_THAT(byNumber, HasSubstr(" " + fact + "\n"));
    }
    EXPECT_EQ(run(tarn::server::runShow, recording.trackId, false), 0);
    EXPECT_EQ(out_, byNumber);
}

TEST_F(CatalogueCommands, RemoveARecordingWhichMayBeAddedAgain) {
    const Recording recording = recordingsIn(catalogue_).at(1);
    EXPECT_EQ(run(tarn::server::runRemove, recording.trackId), 0);
    EXPECT_THAT(out_, HasSubstr("removed " + std::to_string(recording.id) + " " + recording.trackId));
    EXPECT_EQ(recordingsIn(catalogue_).size(), 2U);
    EXPECT_EQ(run(tarn::server::runRemove, recording.trackId), 1);
    EXPECT_THAT(err_, HasSubstr("there is no recording " + recording.trackId));
    EXPECT_THAT(addTo(catalogue_, {(folder_ / "music").string()}).out, HasSubstr("1 added, 0 updated, 2 unchanged"));
    EXPECT_EQ(recordingsIn(catalogue_).size(), 3U);
}

TEST_F(CatalogueCommands, RefuseNamesThatAreNone) {
    for (const char* name : {"0", "4", "99999999999999999999", "-1", "T-0000000000000000", "", "1x"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(run(tarn::server::runShow, std::string(name), false), 1);
        EXPECT_EQ(out_, "");
        EXPECT_THAT(err_, HasSubstr("there is no recording"));
        EXPECT_EQ(run(tarn::server::runRemove, std::string(name)), 1);
    }
    EXPECT_EQ(recordingsIn(catalogue_).size(), 3U);
}

TEST_F(CatalogueCommands, CheckAndMeasureAndCompact) {
    EXPECT_EQ(run(tarn::server::runCheck, false), 0) << err_;
    EXPECT_EQ(out_, "3 recordings, no damage found\n");
    EXPECT_EQ(run(tarn::server::runStats, false), 0);
    EXPECT_THAT(out_, HasSubstr("recordings   3\naudio        0:12\n"));
    EXPECT_THAT(out_, HasSubstr("bytes per minute of audio"));
    for (const tarn::server::Compaction& how : {tarn::server::Compaction{}, {.anew = true}, {.gramLetters = 6}}) {
        EXPECT_EQ(run(tarn::server::runCompact, how), 0) << err_;
        EXPECT_EQ(run(tarn::server::runCheck, true), 0) << err_;
        EXPECT_EQ(recordingsIn(catalogue_).size(), 3U);
    }
}

TEST_F(CatalogueCommands, CheckFindsDamage) {
    const fs::path file = fs::path(catalogue_) / "catalogue.mdb";
    fs::resize_file(file, fs::file_size(file) / 2);
    EXPECT_EQ(run(tarn::server::runCheck, false), 1);
    EXPECT_NE(err_, "");
}

TEST_F(CatalogueCommands, TellAMistypedPlaceFromAnEmptyCatalogue) {
    catalogue_ = (folder_ / "nowhere").string();
    for (const auto command : {tarn::server::runList, tarn::server::runStats, tarn::server::runDuplicates}) {
        EXPECT_EQ(run(command, false), 1);
        EXPECT_THAT(err_, HasSubstr("there is no catalogue at " + catalogue_));
    }
    EXPECT_EQ(run(tarn::server::runExport), 1);
    EXPECT_THAT(err_, HasSubstr("there is no catalogue at " + catalogue_));
    EXPECT_EQ(run(tarn::server::runCheck, false), 1);
    EXPECT_THAT(err_, HasSubstr("there is no catalogue at " + catalogue_));
    EXPECT_EQ(run(tarn::server::runCompact, tarn::server::Compaction{}), 1);
    EXPECT_THAT(err_, HasSubstr("there is no catalogue at " + catalogue_));
    EXPECT_FALSE(fs::exists(catalogue_));
}

TEST(Identify, RecognisesAFileOfTheCollectionAndNoOther) {
    const TemporaryDirectory folder;
    for (uint64_t seed = 0; seed < 3; ++seed) {
        writeSound(folder / ("known" + std::to_string(seed) + ".ogg"), tarn::demo::renderPiece(seed, 40, 22050, 1),
                   tarn::demo::FileFormat::kOgg);
    }
    writeSound(folder / "unknown.wav", tarn::demo::renderPiece(77, 40, 22050, 1), tarn::demo::FileFormat::kWav);
    const std::string catalogue = (folder / "catalogue").string();
    ASSERT_EQ(addTo(catalogue, {(folder / "known0.ogg").string(), (folder / "known1.ogg").string(),
                                (folder / "known2.ogg").string()})
                  .status,
              0);
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(tarn::server::runIdentify(catalogue, folder / "known1.ogg", false, out, err), 0)
        << out.str() << err.str();
    EXPECT_THAT(out.str(), HasSubstr("known1"));
    EXPECT_THAT(out.str(), HasSubstr("accepted with confidence"));
    EXPECT_EQ(tarn::server::runIdentify(catalogue, folder / "unknown.wav", false, out, err), 1);
    EXPECT_EQ(err.str(), "");
    EXPECT_EQ(tarn::server::runIdentify(catalogue, folder / "missing.wav", false, out, err), 1);
    EXPECT_THAT(err.str(), HasSubstr("there is no such file"));
}

} // namespace
