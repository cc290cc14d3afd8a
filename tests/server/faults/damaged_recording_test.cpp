// SPDX-License-Identifier: Apache-2.0
// One recording is damaged, and everything else is sound: it costs itself, every command says how to mend it, and each
// of the ways mends it.
#include "catalogue/catalogue.h"
#include "catalogue/recording_packing.h"
#include "support/server/known_catalogue.h"

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using namespace kvxtest;
using testing::HasSubstr;

constexpr uint32_t kDamaged = 3; // piece 2
constexpr uint32_t kDamagedPiece = 2;

class DamagedRecording : public testing::Test {
  protected:
    DamagedRecording() {
        for (const std::string& line : known_.list()) {
            if (!line.starts_with(std::to_string(kDamaged) + "\t")) others_.insert(line);
        }
        EXPECT_EQ(others_.size() + 1, known_.list().size());
    }

    // A copy with one wrong bit wherever on the disk the recording's bytes are: in the recording, and where they lay
    // before.
    fs::path damaged() const {
        const fs::path copy = known_.copy();
        tarn::server::CatalogueReader reader(copy.string());
        const std::string packed = packRecording(reader.recording(kDamaged).value());
        const std::string piece = packed.substr(packed.size() / 2, 64);
        size_t found = 0;
        for (const auto& entry : fs::recursive_directory_iterator(copy)) {
            if (!entry.is_regular_file()) continue;
            std::string bytes = contents(entry.path());
            for (size_t place = bytes.find(piece); place != std::string::npos; place = bytes.find(piece, place)) {
                ++found;
                bytes[place + 10] = static_cast<char>(bytes[place + 10] ^ 4);
            }
            std::ofstream(entry.path(), std::ios::binary) << bytes;
        }
        EXPECT_GE(found, 1U);
        return copy;
    }

    void expectWhole(const fs::path& catalogue, size_t count = 4) const {
        const Ended listed = known_.run("list", catalogue);
        EXPECT_EQ(listed.status, 0) << listed.err;
        EXPECT_EQ(linesOf(listed.out).size(), count) << listed.out;
        EXPECT_EQ(known_.run("check", catalogue).status, 0);
    }

    const KnownCatalogue& known_ = knownCatalogue();
    std::set<std::string> others_;
};

} // namespace

TEST_F(DamagedRecording, IsNamedByEveryLookAndTheOthersAreShown) {
    const fs::path copy = damaged();
    const std::string named =
        "recording 3 is damaged or of another version of the format; to mend it: tarn-server remove 3";
    const Ended listed = known_.run("list", copy);
    EXPECT_EQ(listed.status, 1);
    EXPECT_EQ(linesOf(listed.out), others_);
    EXPECT_THAT(listed.err, HasSubstr(named));
    for (const char* command : {"check", "stats"}) {
        SCOPED_TRACE(command);
        const Ended ended = known_.run(command, copy);
        EXPECT_EQ(ended.status, 1);
        EXPECT_THAT(ended.err, HasSubstr(named));
    }
    const Ended shown = known_.run("show", copy, {"3"});
    EXPECT_EQ(shown.status, 1);
    EXPECT_THAT(shown.err, HasSubstr(named));
    EXPECT_EQ(known_.run("identify", copy, {known_.file(4)}).status, 0);
    EXPECT_THAT(known_.run("identify", copy, {known_.file(kDamagedPiece)}).err, HasSubstr(named));
}

TEST_F(DamagedRecording, IsPassedOverByTheServiceAndLoggedOnce) {
    CatalogueService service(known_, damaged());
    ASSERT_TRUE(service.isUp());
    for (const uint32_t piece : {3U, 4U, 6U, kDamagedPiece, kDamagedPiece}) {
        SCOPED_TRACE(piece);
        const HttpAnswer answer = exchange(service.port(), known_.request(piece));
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(answer.body.find(KnownCatalogue::titleOf(piece)) != std::string::npos, piece != kDamagedPiece);
    }
    EXPECT_EQ(exchange(service.port(), getOf("/health")).status, 200);
    service.terminate();
    EXPECT_EQ(service.wait(), 0);
    const std::string log = service.log();
    const std::string told = "passed over: recording 3 is damaged";
    EXPECT_THAT(log, HasSubstr(told));
    EXPECT_EQ(log.find(told), log.rfind(told)) << log;
}

TEST_F(DamagedRecording, IsMendedByRemovingItAndAddingItsFolder) {
    const fs::path copy = damaged();
    const Ended removed = known_.run("remove", copy, {"3"});
    EXPECT_EQ(removed.status, 0) << removed.err;
    EXPECT_EQ(removed.out, "removed 3, which was damaged\n");
    expectWhole(copy, 3);
    EXPECT_THAT(known_.run("add", copy, {known_.file(kDamagedPiece)}).out, HasSubstr("1 added"));
    expectWhole(copy);
}

TEST_F(DamagedRecording, IsMendedByItsTrackId) {
    const fs::path copy = damaged();
    std::string trackId;
    for (const std::string& line : known_.list()) {
        if (line.starts_with("3\t")) trackId = line.substr(2, line.find('\t', 2) - 2);
    }
    EXPECT_EQ(known_.run("remove", copy, {trackId}).out, "removed 3, which was damaged\n");
    expectWhole(copy, 3);
}

TEST_F(DamagedRecording, IsMendedByAddingItsFile) {
    const fs::path copy = damaged();
    const Ended added = known_.run("add", copy, {known_.file(kDamagedPiece)});
    EXPECT_EQ(added.status, 0) << added.err;
    EXPECT_THAT(added.out, HasSubstr("0 added, 1 updated"));
    expectWhole(copy);
    EXPECT_THAT(known_.run("add", copy, {known_.file(kDamagedPiece)}).out, HasSubstr("1 unchanged"));
}

TEST_F(DamagedRecording, LeavesWithAPurgeAndNotBefore) {
    const fs::path copy = damaged();
    EXPECT_EQ(known_.run("compact", copy).status, 0);
    EXPECT_EQ(known_.run("list", copy).status, 1);
    const Ended purged = known_.run("compact", copy, {"--purge"});
    EXPECT_EQ(purged.status, 0) << purged.err;
    EXPECT_THAT(purged.err, HasSubstr("removed 3, which was damaged; adding its file or folder again brings it back"));
    expectWhole(copy, 3);
    EXPECT_EQ(known_.run("add", copy, {known_.file(kDamagedPiece)}).status, 0);
    expectWhole(copy);
}
