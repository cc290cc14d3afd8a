// SPDX-License-Identifier: Apache-2.0
// Where a query lies in a recording, and how well it fits there.
#pragma once

#include "matching/prepared_query.h"
#include "model/recording_codes.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace tarn::server {

struct Alignment {
    // The evidence that the query is a part of the recording: summed over both codebooks, the mean of the query's maps.
    double bits = 0;
    // Where the query starts in the recording; below 0 if the query begins before the recording does. Right to within
    // a few seconds until refineStart().
    int64_t startFrame = 0;
    size_t map = 0;    // the query's map ...
    size_t coding = 0; // ... and the recording's coding that fit each other best
    // The score of this map at this place against each coding, in units of ScoredString, as far as align() has computed
    // it; below 0: it has not.
    std::array<int32_t, kCodings.size()> units = {-1, -1, -1};
};

enum class Look { kGlance, kFull }; // a glance takes a fifth of the time

// Aligns one of the query's maps: at the likeliest places, or for a glance at the likeliest one against the first
// coding.
Alignment align(const PreparedQuery& query, const RecordingCodes& codes, Look look = Look::kFull);

// Computes bits, map and coding with all of the query's maps, at the place that align() found.
void measure(const PreparedQuery& query, const RecordingCodes& codes, Alignment& alignment);

// Letters of a string, from begin up to but not including end.
struct Window {
    size_t begin = 0;
    size_t end = 0;
};
Window lettersBetween(const CodeString& string, int64_t firstFrame, int64_t lastFrame);
std::string_view lettersIn(const CodeString& string, const Window& window);

// Finds the start to within a fraction of a second.
void refineStart(const PreparedQuery& query, const RecordingCodes& codes, Alignment& alignment);

// Edits per letter between two stretches of this many frames, one in each recording, that begin at the given frames; 1
// if a recording has no letters there.
double stretchDistance(const RecordingCodes& a, int64_t startA, const RecordingCodes& b, int64_t startB,
                       uint32_t frames);

} // namespace tarn::server
