// SPDX-License-Identifier: Apache-2.0
#include "matching/prepared_query.h"

#include "catalogue/gram_lists.h"
#include "kvx.h"
#include "model/frames.h"

#include <algorithm>
#include <numeric>

namespace tarn::server {

namespace {

// A client's coder starts and stops in the middle of the music, where its normalising window is cut, so the letters at
// both ends differ from those of the whole recording. This many letters are dropped at each end, a sixth at most.
constexpr size_t kEndLetters = 25;
constexpr size_t kEndPart = 6;

// The letters of a query carry no times: they are assumed to be evenly spread.
uint32_t frameOf(const Gram& gram, size_t letters, uint32_t frames) {
    if (frames <= kFirstCodedFrame) return 0;
    return kFirstCodedFrame + static_cast<uint32_t>(uint64_t{frames - kFirstCodedFrame} * gram.index / letters);
}

uint32_t codedFrames(uint32_t durationMs) {
    if (durationMs <= kUncodedMs) return 0;
    return static_cast<uint32_t>(KVX_GetFeatureSize(std::min(durationMs - kUncodedMs, kMaxCodedMs)));
}

} // namespace

GramPlaces::GramPlaces(const std::vector<Place>& places) : places_(places.size()) {
    const auto slotOf = [](const Place& place) { return hashOf(place.value) >> (kHashBits - kSlotBits); };
    for (const Place& place : places) {
        filter_.set(hashOf(place.value) >> (kHashBits - kFilterBits));
        ++firstOfSlot_[slotOf(place) + 1];
    }
    std::partial_sum(firstOfSlot_.begin(), firstOfSlot_.end(), firstOfSlot_.begin());
    std::array<uint16_t, (1U << kSlotBits) + 1> next = firstOfSlot_;
    for (const Place& place : places) places_[next[slotOf(place)]++] = place;
}

PreparedQuery::PreparedQuery(const FingerprintQuery& query) : frames(codedFrames(query.durationMs)) {
    std::array<std::vector<GramPlaces::Place>, kCodebooks> found;
    for (size_t m = 0; m < kMaps; ++m) {
        QueryMap& map = maps[m];
        map.usable = true;
        size_t distinct = 0;
        for (size_t c = 0; c < kCodebooks; ++c) {
            QueryString& string = map.strings[c];
            string.letters = query.codes[m * kCodebooks + c].substr(0, kMaxLetters + 1);
            const size_t cut = std::min(kEndLetters, string.letters.size() / kEndPart);
            string.core = std::string_view(string.letters).substr(cut, string.letters.size() - 2 * cut);
            string.grams = gramsOf(string.letters);
            map.usable = map.usable && string.letters.size() >= kMinLetters && string.letters.size() <= kMaxLetters;
            distinct += distinctLetters(string.letters);
        }
        map.usable = map.usable && distinct >= kMinDistinctLetters;
        if (!map.usable) continue;
        for (size_t c = 0; c < kCodebooks; ++c) {
            QueryString& string = map.strings[c];
            string.scored = ScoredString(c, string.letters);
            for (const Gram& gram : string.grams) {
                found[c].push_back({gram.value, frameOf(gram, string.letters.size(), frames)});
            }
        }
    }
    for (size_t c = 0; c < kCodebooks; ++c) places[c] = GramPlaces(found[c]);
}

bool PreparedQuery::usable() const {
    return std::any_of(maps.begin(), maps.end(), [](const QueryMap& map) { return map.usable; });
}

double PreparedQuery::bits() const {
    double sum = 0;
    size_t usableMaps = 0;
    for (const QueryMap& map : maps) {
        if (!map.usable) continue;
        ++usableMaps;
        for (const QueryString& string : map.strings) sum += string.scored.againstItself(string.letters);
    }
    return usableMaps == 0 ? 0 : sum / static_cast<double>(usableMaps) / ScoredString::kUnitsPerBit;
}

std::vector<ListNumber> PreparedQuery::lists(unsigned gramLetters) const {
    std::vector<ListNumber> lists;
    for (const QueryMap& map : maps) {
        if (!map.usable) continue;
        for (size_t c = 0; c < kCodebooks; ++c) addLists(lists, gramLetters, c, map.strings[c].letters);
    }
    sortOnce(lists);
    return lists;
}

} // namespace tarn::server
