// SPDX-License-Identifier: Apache-2.0
#include "protocol/record_filter.h"

#include "records/all_records.h"
#include "support/protocol_client.h"
#include "support/server/fake_catalogue.h"

#include <gtest/gtest.h>

using namespace kvxtest;
using namespace tarn::server;

namespace {

Permissions permissionsOf(const Bytes& trackBits, const Bytes& albumBits) {
    Bytes block = {4, static_cast<uint8_t>(albumBits.size())};
    block.insert(block.end(), albumBits.begin(), albumBits.end());
    block.push_back(static_cast<uint8_t>(trackBits.size()));
    block.insert(block.end(), trackBits.begin(), trackBits.end());
    block.insert(block.end(), {0, 0});
    WireReader reader(block);
    return Permissions::read(reader);
}

const Bytes kAllTrackBits(3, 0xff);
const Bytes kAllAlbumBits(4, 0xff);

// All bits but that of one field. Track fields 3 and 4 have each other's bit.
Bytes without(const Bytes& all, size_t field, bool track) {
    const size_t bit = track && (field == 3 || field == 4) ? 7 - field : field;
    Bytes bits = all;
    bits[bit / 8] = static_cast<uint8_t>(bits[bit / 8] & ~(1U << (bit % 8)));
    return bits;
}

std::string dump(const std::string& bytes) { return kvxtest::hexDump(kvxtest::bytesOf(bytes)); }

} // namespace

TEST(RecordBlob, IsWrittenAsTheLibraryWritesIt) {
    char title[] = "a title";
    KVXValueLength text{title, 7};
    Track track{};
    track.title = &text;
    track.short16 = 0x1234;
    uint32_t size = 0;
    ASSERT_EQ(KVXGetTrackBlobSize(&track, &size), 0);
    std::string written(size, '\0');
    KVXBlob cursor{reinterpret_cast<uint8_t*>(written.data()), 0, 0};
    ASSERT_EQ(KVXGetTrackBlob(&track, &cursor), 0);
    const std::vector<std::string> fields = blobFields(written);
    ASSERT_EQ(fields.size(), 23U);
    EXPECT_EQ(fields[1], "a title");
    EXPECT_EQ(fields[16], "\x34\x12");
    EXPECT_EQ(dump(blobOf(fields)), dump(written));
}

TEST(RecordBlob, ThatIsNoneIsDamaged) {
    const std::string good = blobOf(trackFields("T", "t"));
    for (const std::string& blob :
         {std::string(), std::string(1, '\0'), good.substr(0, 50), good.substr(0, good.size() - 1)}) {
        SCOPED_TRACE(blob.size());
        EXPECT_THROW(blobFields(blob), DamagedBlob);
    }
    EXPECT_THROW(permittedAlbum(blobOf(std::vector<std::string>(32)), Permissions(), 50), DamagedBlob);
}

TEST(RecordBlob, LosesExactlyTheTrackFieldThatIsNotPermitted) {
    const std::vector<std::string> all = trackFields("T", "t");
    for (size_t field = 0; field < KVX_TRACK_MASK_ENTRIES; ++field) {
        SCOPED_TRACE(field);
        std::vector<std::string> expected = all;
        expected[field].clear();
        const auto permissions = permissionsOf(without(kAllTrackBits, field, true), kAllAlbumBits);
        EXPECT_EQ(blobFields(permittedTrack(blobOf(all), permissions)), expected);
    }
    EXPECT_EQ(dump(permittedTrack(blobOf(all), Permissions())), dump(blobOf(all)));
}

TEST(RecordBlob, LosesExactlyTheAlbumFieldThatIsNotPermitted) {
    std::vector<std::string> all = albumFields("A", "a");
    for (size_t field = 0; field < KVX_ALBUM_MASK_ENTRIES; ++field) {
        SCOPED_TRACE(field);
        std::vector<std::string> expected = all;
        expected[29] = number(87);
        expected[field].clear();
        const auto permissions = permissionsOf(kAllTrackBits, without(kAllAlbumBits, field, false));
        EXPECT_EQ(blobFields(permittedAlbum(blobOf(all), permissions, 87)), expected);
    }
}

TEST(RecordBlob, LosesTrackFieldsOnAnAlbumsMediaToo) {
    const std::string album = permittedAlbum(blobOf(albumFields("A", "a")),
                                             permissionsOf(without(kAllTrackBits, 1, true), kAllAlbumBits), 87);
    const auto media = blobFields(blobFields(album)[15]);
    ASSERT_EQ(media.size(), 1U);
    const auto medium = blobFields(media[0]);
    EXPECT_EQ(medium[1], number(1));
    for (const std::string& track : blobFields(medium[0])) {
        std::vector<std::string> expected = trackFields("T-on-medium", "title on medium");
        expected[1].clear();
        EXPECT_EQ(blobFields(track), expected);
    }
}

TEST(RecordBlob, HasTheFieldsOfTheAlbumThatTheLibraryReads) {
    const auto& rows = kvx::kAlbum.rows;
    ASSERT_EQ(blobFields(bareAlbum(1)).size(), rows.size());
    Album album{};
    size_t media = 0;
    size_t confidence = 0;
    for (size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].element == &kvx::kCDMedia) media = i;
        if (rows[i].setNumber == nullptr) continue;
        album.confidence = 0;
        rows[i].setNumber(&album, 77);
        if (album.confidence == 77) confidence = i;
    }
    const std::string blob = blobOf(albumFields("A", "a"));
    const auto fields =
        blobFields(permittedAlbum(blob, permissionsOf(without(kAllTrackBits, 1, true), kAllAlbumBits), 87));
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(fields[i] != blobFields(blob)[i], i == media || i == confidence) << "field " << i;
    }
}

TEST(RecordBlob, ReadsAsARecordWithWhatIsLeft) {
    const auto permissions = permissionsOf(kvxtest::fromHex("02 00 00"), kvxtest::fromHex("02 00 00 00"));
    std::string blob = permittedAlbum(blobOf(albumFields("A", "the title")), permissions, 87);
    const KVXBlob cursor{reinterpret_cast<uint8_t*>(blob.data()), 0, static_cast<uint32_t>(blob.size())};
    Album* album = nullptr;
    ASSERT_EQ(KVXLoadNewAlbumFromBlob(&cursor, &album), 0);
    EXPECT_EQ(text(album->title), "the title");
    EXPECT_EQ(album->albumId, nullptr);
    EXPECT_EQ(album->short6, 0);
    EXPECT_EQ(album->mediaCount, 0);
    EXPECT_EQ(album->confidence, 87);
    KVXFreeAlbum(&album);
}

TEST(RecordBlob, HoldsAConfidenceFrom0To100) {
    for (const auto& [given, written] : {std::pair{-1, 0}, {0, 0}, {100, 100}, {101, 100}}) {
        SCOPED_TRACE(given);
        EXPECT_EQ(blobFields(bareAlbum(given))[29], number(static_cast<unsigned>(written)));
    }
}
