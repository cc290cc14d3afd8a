// SPDX-License-Identifier: Apache-2.0
// Where one whole recording lies in another, and how much of it is there.
#pragma once

#include "model/recording_codes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tarn::server {

// Where the grams of a recording's first coding are, sorted, so that many recordings can be compared with it.
class PlacedGrams {
  public:
    explicit PlacedGrams(const RecordingCodes& codes);

    // The frames of other at which this recording begins, if it is a part of it: where most of the grams of both agree,
    // at most `most` places, the best first. They may lie before the start of other.
    std::vector<int64_t> startsIn(const PlacedGrams& other, size_t most) const;

  private:
    struct Place {
        uint32_t gram; // with its codebook
        uint32_t frame;
    };
    std::vector<Place> places_;
};

// Frames of the recording, from its start to its last letter.
uint32_t framesOf(const RecordingCodes& codes);

// The share, 0 to 1, of part's windows that agree with whole where part begins at the given frame of it. Windows that
// lie outside of whole do not agree; those without enough letters do not count. Nothing: none counts.
std::optional<double> shareWithin(const RecordingCodes& part, const RecordingCodes& whole, int64_t start);

} // namespace tarn::server
