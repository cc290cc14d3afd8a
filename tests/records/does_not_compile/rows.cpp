// SPDX-License-Identifier: Apache-2.0
// Tables that must not compile, one for each value of CASE; 0 is the table that does. check.sh compiles each, and looks
// for what the line that begins with "// N:" expects in the compiler's errors.
#include "records/all_records.h"
#include "records/record_functions.h"

using namespace kvx;

struct Sample {
    KVXValueLength* title;
    Track* tracks;
    uint16_t trackCount;
    uint32_t big;
    Credit* credit;
};
struct Other {
    KVXValueLength* title;
    uint16_t count;
};

constexpr auto kOtherRows = rowsOf<Other>({
    text<&Other::title>(),
});

constexpr auto kSampleRows = rowsOf<Sample>({
    text<&Sample::title>(), records<&Sample::tracks, &Sample::trackCount>(kTrack), nested<&Sample::credit>(kCredit),
#if CASE == 1
        // 1: constraints not satisfied
        text<&Sample::trackCount>(), // a text row of a number
#elif CASE == 2
        // 2: constraints not satisfied
        shortNumber<&Sample::title>(), // a short row of a text
#elif CASE == 3
        // 3: constraints not satisfied
        shortNumber<&Sample::big>(), // a short row of a 32-bit number
#elif CASE == 4
        // 4: Row<Sample>
        text<&Other::title>(), // a row of another record
#elif CASE == 5
        // 5: Table<Credit>
        records<&Sample::tracks, &Sample::trackCount>(kCredit), // the elements' table is another record's
#elif CASE == 6
        // 6: Table<Track>
        nested<&Sample::credit>(kTrack), // and that of a nested record
#elif CASE == 7
        // 7: constraints not satisfied
        records<&Sample::tracks, &Other::count>(kTrack), // the count of another record
#elif CASE == 8
        // 8: constraints not satisfied
        records<&Sample::tracks, &Sample::big>(kTrack), // a count of 32 bits
#elif CASE == 9
        // 9: constraints not satisfied
        texts<&Sample::tracks, &Sample::trackCount>(), // an array of texts of an array of records
#endif
});

#if CASE == 10
// 10: Table<Sample>
constexpr Table<Sample> kSample{"Sample", kOtherRows}; // the rows of another record
#else
constexpr Table<Sample> kSample{"Sample", kSampleRows};
#endif
#if CASE == 0
static_assert(kSample.fieldCount() == 3);
#endif

#if CASE == 11
// 11: only the server sends
constexpr auto kTrackInfoRows = rowsOf<TrackInfo>({
    text<&TrackInfo::text0>(),
});
constexpr Table<TrackInfo> kvx::kTrackInfo{"TrackInfo", kTrackInfoRows, {.isReadOnly = true}};
KVX_WRITER(TrackInfo, KVXGetTrackBlobSize, KVXGetTrackBlob)
#elif CASE == 12
// 12: KVXGetSampleBlob
KVX_LOADER(Track, KVXGetSampleBlob) // a function that kvx.h does not declare
#elif CASE == 13
// 13: kvx.h declares it with other types
KVX_LOADER(Track, KVXLoadCreditFromBlob) // a function of another record
#endif
