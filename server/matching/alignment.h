// Where a query lies in a recording, and how well it fits there.
#pragma once

#include "coding/recording_codes.h"
#include "matching/prepared_query.h"

#include <cstdint>

namespace tarn::server {

struct Alignment {
    // Edits per letter over both codebooks, of the best pair of a query's map and a recording's phase. 1: nothing fits.
    double distance = 1.0;
    size_t letters = 0; // of the query's that were compared
    size_t map = 0;
    size_t phase = 0;
    // Of the query in the recording; before 0 where the query begins before the recording does. Within a few seconds
    // until it is refined.
    int64_t startFrame = 0;
};

Alignment align(const PreparedQuery& query, const RecordingCodes& codes);

// Finds the start to within a fraction of a second.
void refineStart(const PreparedQuery& query, const RecordingCodes& codes, Alignment& alignment);

// Edits per letter between the stretches of two recordings that begin at the frames given and are so long; 1 where one
// of them has no letters there.
double stretchDistance(const RecordingCodes& a, int64_t startA, const RecordingCodes& b, int64_t startB,
                       uint32_t frames);

} // namespace tarn::server
