// SPDX-License-Identifier: Apache-2.0
// Made-up music: pieces of four voices and drums that differ in key, mode, tempo, harmony, melody and timbre, all drawn
// from a seed. The same seed gives the same piece.
#pragma once

#include "model/recording.h"

#include <cstdint>
#include <vector>

namespace tarn::demo {

struct Sound {
    int rateHz = 0;
    int channels = 0;
    std::vector<int16_t> samples; // interleaved
};

// channels: 1 or 2.
Sound renderPiece(uint64_t seed, double seconds, int rateHz, int channels);

// Title, artist, album and so on of piece number `index` of a collection: six pieces an album.
server::Tags tagsOfPiece(uint64_t seed, uint32_t index);

} // namespace tarn::demo
