// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/answer_records.h"

#include "base/text.h"
#include "kvx.h"
#include "recognise/model/asker.h"

#include <algorithm>
#include <limits>
#include <memory>

namespace tarn::recognise {

namespace {

// A server's text in one line of valid UTF-8.
std::string textOf(const KVXValueLength* text) {
    if (text == nullptr || text->data == nullptr) return {};
    return server::cleanText({text->data, text->length});
}

template <class Record>
auto recordOf(KVXHandle* handle, int32_t number, int32_t (*get)(KVXHandle*, int32_t, Record**) noexcept,
              int32_t (*release)(Record**) noexcept) {
    Record* record = nullptr;
    if (get(handle, number, &record) != 0) throw NoAnswer("the server's answer is damaged: a record cannot be read");
    const auto giveBack = [release](Record* read) { release(&read); };
    return std::unique_ptr<Record, decltype(giveBack)>(record, giveBack);
}

Match matchOf(Track& track) {
    // Freeing the track leaves it.
    const auto giveBack = [](KVXValueLength* text) { KVXFreeValueLength(&text); };
    const std::unique_ptr<KVXValueLength, decltype(giveBack)> leftOver(track.text18, giveBack);
    Match match;
    match.trackId = textOf(track.trackId);
    match.title = textOf(track.title);
    if (track.artistCount > 0) match.artist = textOf(track.artists[0].property);
    return match;
}

void addAlbum(const Album& album, Match& match) {
    match.albumId = textOf(album.albumId);
    match.album = textOf(album.title);
    if (match.artist.empty()) match.artist = textOf(album.artist);
    match.confidence = std::clamp<int>(album.confidence, 0, 100);
}

} // namespace

Answer readAnswer(KVXHandle* handle, std::string_view body, const server::MatchPlace& place) {
    int32_t count = 0;
    if (body.empty() || body.size() > std::numeric_limits<int32_t>::max() ||
        KVXParseServerResponse(handle, reinterpret_cast<const uint8_t*>(body.data()), static_cast<int32_t>(body.size()),
                               &count) != 0) {
        throw NoAnswer("the server's answer is damaged: it is not a sequence of records");
    }
    Answer answer;
    size_t albums = 0;
    for (int32_t number = 1; number <= count; ++number) {
        const int32_t type = KVXGetResponseType(handle, number);
        if (type == 'T') {
            answer.matches.push_back(matchOf(*recordOf<Track>(handle, number, KVXGetTrack, KVXFreeTrack)));
        } else if (type == 'A' && albums < answer.matches.size()) {
            addAlbum(*recordOf<Album>(handle, number, KVXGetAlbum, KVXFreeAlbum), answer.matches[albums++]);
        }
    }
    if (!answer.matches.empty()) {
        Match& best = answer.matches.front();
        best.offsetMs = place.offsetMs;
        best.durationMs = place.durationMs;
        best.companions = place.companions;
    }
    return answer;
}

} // namespace tarn::recognise
