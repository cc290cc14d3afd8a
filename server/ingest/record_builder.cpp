// SPDX-License-Identifier: Apache-2.0
#include "ingest/record_builder.h"

#include "base/digest.h"
#include "kvx.h"

#include <new>

namespace tarn::server {

namespace {

constexpr size_t kIdDigits = 16;

const std::string& albumArtistOf(const Tags& tags) { return tags.albumArtist.empty() ? tags.artist : tags.albumArtist; }

// A text of a record that is only written. It points into the string, which must outlive it; an empty text is absent.
class BorrowedText {
  public:
    explicit BorrowedText(const std::string& text)
        : value_{const_cast<char*>(text.data()), static_cast<uint32_t>(text.size())} {}
    KVXValueLength* get() { return value_.length == 0 ? nullptr : &value_; }

  private:
    KVXValueLength value_;
};

template <class Record>
std::string blobOfRecord(const Record& record, int32_t (*measure)(const Record*, uint32_t*),
                         int32_t (*write)(const Record*, KVXBlob*)) {
    uint32_t bytes = 0;
    if (measure(&record, &bytes) != 0) throw std::bad_alloc();
    std::string blob(bytes, '\0');
    KVXBlob cursor{reinterpret_cast<uint8_t*>(blob.data()), 0, 0};
    if (write(&record, &cursor) != 0 || cursor.length != bytes) throw std::bad_alloc();
    return blob;
}

std::string trackBlobOf(const Recording& recording) {
    BorrowedText id(recording.trackId);
    BorrowedText title(recording.tags.title);
    BorrowedText artistName(recording.tags.artist);
    ValuePairYOMI artist{};
    artist.property = artistName.get();
    Track track{};
    track.trackId = id.get();
    track.title = title.get();
    if (artist.property != nullptr) {
        track.artists = &artist;
        track.artistCount = 1;
    }
    return blobOfRecord(track, KVXGetTrackBlobSize, KVXGetTrackBlob);
}

std::string albumBlobOf(const Recording& recording) {
    BorrowedText id(recording.albumId);
    BorrowedText title(recording.tags.album);
    BorrowedText artist(albumArtistOf(recording.tags));
    Album album{};
    album.albumId = id.get();
    album.title = title.get();
    album.artist = artist.get();
    return blobOfRecord(album, KVXGetAlbumBlobSize, KVXGetAlbumBlob);
}

} // namespace

std::string trackIdOf(const std::string& contentHash) { return "T-" + contentHash.substr(0, kIdDigits); }

std::string albumIdOf(const Tags& tags) {
    if (tags.album.empty()) return {};
    Digest hash;
    hash.add(albumArtistOf(tags));
    hash.add(std::string_view("\0", 1)); // so that no letter can move from one name to the other
    hash.add(tags.album);
    return "A-" + hash.hexadecimal().substr(0, kIdDigits);
}

void fillRecords(Recording& recording) {
    recording.trackId = trackIdOf(recording.contentHash);
    recording.albumId = albumIdOf(recording.tags);
    recording.trackBlob = trackBlobOf(recording);
    recording.albumBlob = recording.albumId.empty() ? std::string() : albumBlobOf(recording);
}

} // namespace tarn::server
