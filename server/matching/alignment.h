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
    // What speaks for the recording being the query's, over both codebooks, the mean of the query's maps.
    double bits = 0;
    // Of the query in the recording; before 0 where the query begins before the recording does. Within a few seconds
    // until it is refined.
    int64_t startFrame = 0;
    size_t map = 0; // of the query, and the recording's coding, that fit each other best
    size_t coding = 0;
    // What align() found for this map at this place against each coding, in units of ScoredString; less than 0:
    // nothing.
    std::array<int32_t, kCodings.size()> units = {-1, -1, -1};
};

enum class Look { kGlance, kFull }; // a glance takes a fifth of the time

// One of the query's maps, at the likeliest places; a glance: at the likeliest, against the first coding.
Alignment align(const PreparedQuery& query, const RecordingCodes& codes, Look look = Look::kFull);

// Measures bits, map and coding with all of the query's maps, at the place found.
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

// Edits per letter between the stretches of two recordings that begin at the frames given and are so long; 1 where one
// of them has no letters there.
double stretchDistance(const RecordingCodes& a, int64_t startA, const RecordingCodes& b, int64_t startB,
                       uint32_t frames);

} // namespace tarn::server
