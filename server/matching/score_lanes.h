// SPDX-License-Identifier: Apache-2.0
// The sums of local alignment (local_alignment.h), many letters of the query side by side.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tarn::server {

// Letters of a query that a table may have: this many of the highest scores still add up to a 16-bit number.
constexpr size_t kMaxScored = 680;
// Tables are padded to a multiple of this, the widest group of letters that a kernel handles at once. The padding never
// raises a sum.
constexpr size_t kScoreStep = 32;
constexpr size_t kMaxStride = (kMaxScored + kScoreStep - 1) / kScoreStep * kScoreStep;
// Added to every score in a table, so that none is negative.
constexpr uint8_t kScoreBias = 8;

// A column value with which no sum grows.
constexpr uint8_t kNoColumn = 48;

// Rows of stride numbers, one for each letter of the query.
struct ScoreTable {
    size_t stride = 0;
    const uint8_t* score = nullptr;       // a row for each column value, scores with kScoreBias
    const uint8_t* columnAlone = nullptr; // for each column value: the cost of a gap in the query
    // The cost of a gap of one, two and four letters of the query that ends here, as numbers of both widths and in the
    // order of the vectors: letters of the first half, then as many of the second, 32 bytes together.
    const uint8_t* alone = nullptr;
    const uint16_t* wideAlone = nullptr;
};

// The kernel, compiled once for each instruction set.
struct ScoreLanes {
    const char* name;
    // The best local sum of the query against the columns.
    int32_t (*best)(const ScoreTable& table, std::span<const uint8_t> columns);
};

extern const ScoreLanes kBaselineScoreLanes; // for every processor of the architecture
#if defined(__x86_64__)
extern const ScoreLanes kAvx2ScoreLanes;
#endif

// Those that this processor can run, the narrowest first.
std::span<const ScoreLanes* const> availableScoreLanes();

} // namespace tarn::server
