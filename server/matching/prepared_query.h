// SPDX-License-Identifier: Apache-2.0
// A query's six strings, prepared for the look-up.
#pragma once

#include "catalogue/catalogue.h"
#include "coding/grams.h"
#include "matching/local_alignment.h"
#include "model/frames.h"
#include "model/query.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server {

// With less than this, no recording can be distinguished from others: letters in each of a map's strings, and distinct
// letters in both together.
constexpr size_t kMinLetters = 12;
constexpr size_t kMinDistinctLetters = 10;
// The first frame that a client codes, and where the first letter's run may begin.
constexpr uint32_t kFirstCodedFrame = 41;
// No audio makes more letters: each takes three of the coded frames, except the first, which may take two. Longer
// strings are forged, and would cost the most to look up.
constexpr size_t kMaxLetters = 1 + (kMaxQueryFrames - kFirstCodedFrame + 1 - 2) / 3;

struct QueryString {
    std::string letters;
    std::string_view core;   // letters without the ends
    std::vector<Gram> grams; // of letters
    ScoredString scored;     // letters
};

// Where the grams of one codebook are in the query, over all its maps.
class GramPlaces {
  public:
    struct Place {
        uint32_t value; // of the gram
        uint32_t frame; // from the query's start, approximately
    };
    GramPlaces() = default;
    explicit GramPlaces(const std::vector<Place>& places);
    // Calls visit with the frame of each place of a gram.
    template <class Visit>
    void forEach(uint32_t value, Visit visit) const {
        const uint32_t hash = hashOf(value);
        if (!filter_.test(hash >> (kHashBits - kFilterBits))) return;
        const uint32_t slot = hash >> (kHashBits - kSlotBits);
        for (size_t i = firstOfSlot_[slot]; i < firstOfSlot_[slot + 1]; ++i) {
            if (places_[i].value == value) visit(places_[i].frame);
        }
    }

  private:
    static constexpr uint32_t kHashBits = 32;
    static constexpr uint32_t kFilterBits = 16;
    static constexpr uint32_t kSlotBits = 10;
    // By Knuth: 2^32 times the golden ratio.
    static uint32_t hashOf(uint32_t value) { return value * 2654435761U; }

    std::bitset<1U << kFilterBits> filter_;                     // which hashes occur: most calls end here
    std::array<uint16_t, (1U << kSlotBits) + 1> firstOfSlot_{}; // in places_
    std::vector<Place> places_;                                 // by hash
};

struct QueryMap {
    bool usable = false; // passes the gates
    std::array<QueryString, kCodebooks> strings;
};

struct PreparedQuery {
    explicit PreparedQuery(const FingerprintQuery& query);
    PreparedQuery(const PreparedQuery&) = delete; // core points into letters
    PreparedQuery& operator=(const PreparedQuery&) = delete;

    bool usable() const;
    // The bits of an exact copy: summed over both codebooks, the mean of the usable maps.
    double bits() const;
    // The lists of the usable maps' grams, rising, each once.
    std::vector<ListNumber> lists(unsigned gramLetters) const;

    std::array<QueryMap, kMaps> maps;
    std::array<GramPlaces, kCodebooks> places;
    uint32_t frames = 0; // that were coded; 0: not known
};

} // namespace tarn::server
