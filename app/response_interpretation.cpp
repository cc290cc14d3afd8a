// SPDX-License-Identifier: Apache-2.0
#include "response_interpretation.h"

#include "tarn_error.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace tarn {
namespace {

// A record's text up to its terminating zero; "(null)" for a missing text.
std::string_view terminated(const KVXValueLength* text) {
    return text != nullptr && text->data != nullptr ? std::string_view(text->data) : std::string_view("(null)");
}

// A record's text up to its length, or to a zero byte before it.
std::string_view counted(const KVXValueLength* text) {
    if (text == nullptr || text->data == nullptr) return "(null)";
    return {text->data, strnlen(text->data, text->length)};
}

// The part of a text that a match keeps: up to the terminating zero, whatever its length is.
std::optional<std::string> kept(const KVXValueLength* text) {
    if (text == nullptr || text->data == nullptr) return std::nullopt;
    return std::string(text->data);
}

// "Response 1: "
std::string lead(int32_t number) { return "Response " + std::to_string(number) + ": "; }

// A server's texts may be long, so no line copies one.
class LineWriter {
  public:
    LineWriter(int32_t number, Log& log) : lead_(lead(number)), log_(log) {}

    void line(const TextPieces& text) {
        TextPieces whole = lead_;
        whole.addAll(text);
        whole.add("\n");
        log_.write(whole);
    }
    // "Response 1: label: text", when there is a text.
    void ifPresent(const char* label, const KVXValueLength* text, std::string_view shown) {
        if (text != nullptr) line({label, ": ", shown});
    }
    void ifPresent(const char* label, const KVXValueLength* text) { ifPresent(label, text, terminated(text)); }
    void ifPresentCounted(const char* label, const KVXValueLength* text) { ifPresent(label, text, counted(text)); }

  private:
    std::string lead_;
    Log& log_;
};

void logAttributes(const Album& album, LineWriter& lines, Log& log) {
    if (album.attributes == nullptr) return;
    lines.line("Album Attributes");
    for (size_t i = 0; i < album.attributeCount; ++i) {
        const ValuePairYOMI& entry = album.attributes[i];
        log.write({"PropertyAttributeID = ", terminated(entry.propertyId), "\t PropertyAttribute = ",
                   terminated(entry.property), "\tValueAttributeID = ", terminated(entry.valueId),
                   "\t ValueAttribute = ", terminated(entry.value), "\n"});
    }
}

// How a record type is read, released and named in errors.
template <class Record>
struct Reader {
    int32_t (*get)(KVXHandle*, int32_t, Record**);
    int32_t (*release)(Record**);
    const char* name;
    int errorCode;
};
constexpr Reader<Track> kTracks = {KVXGetTrack, KVXFreeTrack, "Track", 201};
constexpr Reader<Album> kAlbums = {KVXGetAlbum, KVXFreeAlbum, "Album", 202};
constexpr Reader<DVD> kDvds = {KVXGetDVD, KVXFreeDVD, "DVD", 202};
constexpr Reader<TrackToAlbum> kTracksToAlbums = {KVXGetTrackToAlbum, KVXFreeTrackToAlbum, "Track to Album", 202};

// Reads one record, hands it to use and releases it; fills the error slot when it cannot be read.
template <class Record, class Use>
void withRecord(const Reader<Record>& reader, KVXHandle* handle, int32_t number, ErrorSlot& error, Use use) {
    Record* record = nullptr;
    if (const int32_t status = reader.get(handle, number, &record); status != 0) {
        error = tarnError(reader.errorCode,
                          std::string("Error Parsing ") + reader.name + " Response - " + std::to_string(status));
        return;
    }
    const auto giveBack = [&reader](Record* read) { reader.release(&read); };
    const std::unique_ptr<Record, decltype(giveBack)> owner(record, giveBack); // use may run out of memory
    use(*record);
}

} // namespace

MusicLookupResponse interpretTrack(const Track& track, int32_t number, Log& log) {
    LineWriter lines(number, log);
    const KVXValueLength* artist = track.artistCount > 0 ? track.artists[0].property : nullptr;
    lines.ifPresentCounted("T_ID", track.trackId);
    lines.ifPresentCounted("Title", track.title);
    lines.ifPresentCounted("Artist", artist);
    MusicLookupResponse match;
    match.trackId = kept(track.trackId);
    match.trackName = kept(track.title);
    match.artistName = kept(artist);
    return match;
}

MusicLookupResponse interpretAlbum(const Album& album, int32_t number, Log& log) {
    LineWriter lines(number, log);
    lines.ifPresent("A_ID", album.albumId);
    lines.ifPresent("Artist", album.artist);
    lines.ifPresent("Title", album.title);
    lines.ifPresent("TarnAlbumID", album.tarnAlbumId);
    lines.ifPresent("TarnArtistID", album.tarnArtistId);
    logAttributes(album, lines, log);
    lines.line({"Confidence: ", std::to_string(album.confidence)});
    MusicLookupResponse match;
    match.artistName = kept(album.artist);
    match.albumName = kept(album.title);
    return match;
}

MusicLookupResponse interpretTrackToAlbum(const TrackToAlbum& record, int32_t number, Log& log) {
    MusicLookupResponse match;
    if (record.album == nullptr) return match; // it counts as a match even without an album
    LineWriter lines(number, log);
    lines.ifPresentCounted("AlbumTitle", record.album->title);
    // Shown as a signed number here, unlike an album's own: 40000 reads as -25536.
    lines.line({"Confidence: ", std::to_string(static_cast<int16_t>(record.album->confidence))});
    match.albumName = kept(record.album->title);
    return match;
}

void interpretDvd(const DVD& dvd, int32_t number, Log& log) {
    LineWriter lines(number, log);
    lines.ifPresent("DV_ID", dvd.dvdId);
    lines.ifPresent("Title", dvd.title);
}

std::optional<std::vector<MusicLookupResponse>> interpretResponses(KVXHandle* handle, int32_t count, Log& log,
                                                                   TextOutput& standardOutput, ErrorSlot& error) {
    log.write({"Received ", std::to_string(count), " response(s)\n"});
    std::vector<MusicLookupResponse> matches;
    matches.reserve(static_cast<size_t>(std::max(count, 0)));
    ErrorSlot failure;
    for (int32_t number = 1; number <= count; ++number) {
        const int32_t type = KVXGetResponseType(handle, number);
        switch (type) {
        case 'A':
            withRecord(kAlbums, handle, number, failure,
                       [&](const Album& album) { matches.push_back(interpretAlbum(album, number, log)); });
            break;
        case 'D':
            withRecord(kDvds, handle, number, failure, [&](const DVD& dvd) { interpretDvd(dvd, number, log); });
            break;
        case 'K':
            withRecord(kTracksToAlbums, handle, number, failure, [&](const TrackToAlbum& record) {
                matches.push_back(interpretTrackToAlbum(record, number, log));
            });
            break;
        case 'N':
            LineWriter(number, log).line("Not Found");
            break;
        case 'T':
            withRecord(kTracks, handle, number, failure,
                       [&](const Track& track) { matches.push_back(interpretTrack(track, number, log)); });
            break;
        default:
            // As a character: a type that the library does not know is -1 and prints as the byte FF. No line end, on
            // purpose.
            standardOutput.write(lead(number) + "Unexpected response type (" + static_cast<char>(type) + ")");
            break;
        }
        if (failure) {
            error = std::move(failure);
            return std::nullopt;
        }
    }
    return matches;
}

} // namespace tarn
