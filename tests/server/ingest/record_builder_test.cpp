// SPDX-License-Identifier: Apache-2.0
#include "ingest/record_builder.h"

#include "kvx.h"
#include "server/audio/make_tags.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using kvxtest::makeTags;
using tarn::server::albumIdOf;
using tarn::server::fillRecords;
using tarn::server::Recording;
using tarn::server::Tags;
using tarn::server::trackIdOf;

std::string textOf(const KVXValueLength* value) {
    return value == nullptr ? "(absent)" : std::string(value->data, value->length);
}

struct TrackFree {
    void operator()(Track* track) const { KVXFreeTrack(&track); }
};
struct AlbumFree {
    void operator()(Album* album) const { KVXFreeAlbum(&album); }
};

std::unique_ptr<Track, TrackFree> loadTrack(std::string blob) {
    const KVXBlob cursor{reinterpret_cast<uint8_t*>(blob.data()), 0, static_cast<uint32_t>(blob.size())};
    Track* track = nullptr;
    EXPECT_EQ(KVXLoadNewTrackFromBlob(&cursor, &track), 0);
    return std::unique_ptr<Track, TrackFree>(track);
}

std::unique_ptr<Album, AlbumFree> loadAlbum(std::string blob) {
    const KVXBlob cursor{reinterpret_cast<uint8_t*>(blob.data()), 0, static_cast<uint32_t>(blob.size())};
    Album* album = nullptr;
    EXPECT_EQ(KVXLoadNewAlbumFromBlob(&cursor, &album), 0);
    return std::unique_ptr<Album, AlbumFree>(album);
}

Recording recordingWith(const Tags& tags) {
    Recording recording;
    recording.contentHash = "0123456789abcdef" + std::string(48, '7');
    recording.tags = tags;
    fillRecords(recording);
    return recording;
}

TEST(RecordBlobs, SayWhatAClientReports) {
    const Recording recording = recordingWith(makeTags("Quiet Harbour", "Mara Feld", "Letters Home", "Various"));
    EXPECT_EQ(recording.trackId, "T-0123456789abcdef");
    const auto track = loadTrack(recording.trackBlob);
    ASSERT_NE(track, nullptr);
    EXPECT_EQ(textOf(track->trackId), recording.trackId);
    EXPECT_EQ(textOf(track->title), "Quiet Harbour");
    ASSERT_EQ(track->artistCount, 1);
    EXPECT_EQ(textOf(track->artists[0].property), "Mara Feld");
    const auto album = loadAlbum(recording.albumBlob);
    ASSERT_NE(album, nullptr);
    EXPECT_EQ(textOf(album->albumId), recording.albumId);
    EXPECT_EQ(textOf(album->title), "Letters Home");
    EXPECT_EQ(textOf(album->artist), "Various");
    EXPECT_EQ(album->confidence, 0);
}

TEST(RecordBlobs, LeaveOutWhatIsNotKnown) {
    const Recording recording = recordingWith(makeTags("03 Slow Ferry"));
    EXPECT_EQ(recording.albumId, "");
    EXPECT_EQ(recording.albumBlob, "");
    const auto track = loadTrack(recording.trackBlob);
    ASSERT_NE(track, nullptr);
    EXPECT_EQ(track->artistCount, 0);
    EXPECT_EQ(textOf(loadAlbum(recordingWith(makeTags("a", "", "b")).albumBlob)->artist), "(absent)");
}

TEST(RecordBlobs, NameTheAlbumArtistByTheArtistWhereThereIsNone) {
    const Recording recording = recordingWith(makeTags("a", "Mara Feld", "b"));
    EXPECT_EQ(textOf(loadAlbum(recording.albumBlob)->artist), "Mara Feld");
}

TEST(AlbumId, TellsAlbumsApartByTheirArtistAndTitle) {
    const std::string id = albumIdOf(makeTags("a", "x", "b", "y"));
    EXPECT_TRUE(id.starts_with("A-"));
    EXPECT_EQ(id.size(), 18U);
    EXPECT_EQ(albumIdOf(makeTags("other", "other", "b", "y", 2)), id);
    EXPECT_EQ(albumIdOf(makeTags("a", "y", "b")), id);
    EXPECT_NE(albumIdOf(makeTags("a", "z", "b")), id);
    EXPECT_NE(albumIdOf(makeTags("a", "yb", "")), id);
    EXPECT_NE(albumIdOf(makeTags("", "", "bc", "a")), albumIdOf(makeTags("", "", "c", "ab")));
}

} // namespace
