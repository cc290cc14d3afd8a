// SPDX-License-Identifier: Apache-2.0
#include "audio/media_process.h"

#include "audio/audio_error.h"

#include "demo/audio_writer.h"
#include "server/audio/make_tags.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <random>
#include <sys/resource.h>

namespace {

using kvxtest::makeTags;
using kvxtest::TemporaryDirectory;
using tarn::demo::FileFormat;
using tarn::demo::writeTags;
using tarn::server::AudioError;
using tarn::server::readTags;
using tarn::server::Tags;

const tarn::demo::Sound kSound{22050, 1, std::vector<int16_t>(4000, 5)};

void expectEqual(const Tags& tags, const Tags& expected) {
    EXPECT_EQ(tags.title, expected.title);
    EXPECT_EQ(tags.artist, expected.artist);
    EXPECT_EQ(tags.album, expected.album);
    EXPECT_EQ(tags.albumArtist, expected.albumArtist);
    EXPECT_EQ(tags.number, expected.number);
    EXPECT_EQ(tags.year, expected.year);
}

class FileTags : public testing::Test {
  protected:
    tarn::server::MediaProcess process_;
};

TEST_F(FileTags, AreReadFromEveryKindOfFile) {
    const TemporaryDirectory folder;
    const Tags tags = makeTags("Gr\xC3\xBC\xC3\x9F"
                               "e \xE2\x99\xAB",
                               "Mara Feld", "Letters Home", "Low Tide Assembly", 7, 1987);
    const struct {
        const char* name;
        FileFormat format;
    } cases[] = {{"a.wav", FileFormat::kWav}, {"a.flac", FileFormat::kFlac}, {"a.ogg", FileFormat::kOgg}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        writeSound(folder / c.name, kSound, c.format);
        writeTags(folder / c.name, tags);
        expectEqual(readTags(process_, folder / c.name), tags);
    }
}

TEST_F(FileTags, AreTheNameOfAFileThatHasNone) {
    const TemporaryDirectory folder;
    writeSound(folder / "03 Slow Ferry.live.wav", kSound, FileFormat::kWav);
    expectEqual(readTags(process_, folder / "03 Slow Ferry.live.wav"), makeTags("03 Slow Ferry.live"));
}

TEST_F(FileTags, ThatCannotBeReadAreNoneThatAreAbsent) {
    const TemporaryDirectory folder;
    EXPECT_THROW(readTags(process_, folder / "missing.wav"), AudioError);
    EXPECT_THROW(readTags(process_, folder.path()), AudioError); // it opens, and then every reading fails
    writeSound(folder / "a.flac", kSound, FileFormat::kFlac);
    writeTags(folder / "a.flac", makeTags("title", "artist"));
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_THROW(readTags(process_, folder / "a.flac"), AudioError);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(readTags(process_, folder / "a.flac").artist, "artist");
}

TEST_F(FileTags, OfAFileNameThatIsNoUtf8AreUtf8) {
    const TemporaryDirectory folder;
    writeSound(folder / "caf\xE9.wav", kSound, FileFormat::kWav);
    EXPECT_EQ(readTags(process_, folder / "caf\xE9.wav").title, "caf\xEF\xBF\xBD");
}

TEST_F(FileTags, KeepToOneLineAndABoundedLength) {
    const TemporaryDirectory folder;
    writeSound(folder / "a.flac", kSound, FileFormat::kFlac);
    writeTags(folder / "a.flac", makeTags("one\ntwo", std::string(100'000, 'x')));
    const Tags tags = readTags(process_, folder / "a.flac");
    EXPECT_EQ(tags.title, "one two");
    EXPECT_EQ(tags.artist, std::string(1000, 'x'));
}

TEST_F(FileTags, HaveNoNumberWhereTheTagsIsBeyondReason) {
    const TemporaryDirectory folder;
    writeSound(folder / "a.flac", kSound, FileFormat::kFlac);
    writeTags(folder / "a.flac", makeTags("a", "", "", "", 65536, 4'000'000));
    const Tags tags = readTags(process_, folder / "a.flac");
    EXPECT_EQ(tags.number, 0U);
    EXPECT_EQ(tags.year, 0U);
}

// Every reading ends, and a title is always there.
TEST_F(FileTags, OfDamagedFilesNeverFail) {
    const TemporaryDirectory folder;
    std::mt19937 random(4);
    for (const char* name : {"a.wav", "a.flac", "a.ogg"}) {
        writeSound(folder / name, kSound,
                   std::string(name) == "a.wav"    ? FileFormat::kWav
                   : std::string(name) == "a.flac" ? FileFormat::kFlac
                                                   : FileFormat::kOgg);
        writeTags(folder / name, makeTags("title", "artist", "album"));
        const std::string good = kvxtest::contents(folder / name);
        for (int round = 0; round < 100; ++round) {
            SCOPED_TRACE(std::string(name) + ", round " + std::to_string(round));
            std::string bytes = good;
            if (round % 4 == 0) bytes.resize(1 + static_cast<size_t>(random()) % good.size());
            for (int flips = 0; flips <= round % 16; ++flips) {
                bytes[static_cast<size_t>(random()) % std::min<size_t>(bytes.size(), 400)] =
                    static_cast<char>(random());
            }
            kvxtest::writePrivate(folder / name, bytes);
            EXPECT_FALSE(readTags(process_, folder / name).title.empty());
        }
    }
}

} // namespace
