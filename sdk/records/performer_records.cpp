// SPDX-License-Identifier: Apache-2.0
// Performers: only the server sends them.
#include "records/all_records.h"
#include "records/record_functions.h"

using namespace kvx;

constexpr auto kPerformerRows = rowsOf<Performer>({
    shortNumber<&Performer::short0>(),
    text<&Performer::text1>(),
    text<&Performer::text2>(),
    text<&Performer::text3>(),
    text<&Performer::text4>(),
    text<&Performer::text5>(),
    records<&Performer::valuePairs6, &Performer::valuePairs6Count>(kValuePair),
    text<&Performer::text7>(),
    texts<&Performer::texts8, &Performer::texts8Count>(),
    text<&Performer::text9>(),
    text<&Performer::text10>(),
    text<&Performer::text11>(),
    text<&Performer::text12>(),
    records<&Performer::shortAlbums, &Performer::shortAlbumCount>(kShortAlbum),
    texts<&Performer::texts14, &Performer::texts14Count>(),
    records<&Performer::yomiList15, &Performer::yomiList15Count>(kValuePairYOMI),
    records<&Performer::yomiList16, &Performer::yomiList16Count>(kValuePairYOMI),
    text<&Performer::text17>(),
    records<&Performer::yomiList18, &Performer::yomiList18Count>(kValuePairYOMI),
    records<&Performer::yomiList19, &Performer::yomiList19Count>(kValuePairYOMI),
    records<&Performer::valuePairs20, &Performer::valuePairs20Count>(kValuePair),
    text<&Performer::text21>(),
    shortNumber<&Performer::short22>(),
    records<&Performer::shortDvds, &Performer::shortDvdCount>(kShortDVD),
    shortNumber<&Performer::short24>(),
    text<&Performer::text25>(),
});
// The allocating loader asks for 17 fields although it reads all 26: a blob of 17 to 24 fails later, at the first index
// beyond its count. Both tests are kept.
constexpr Table<Performer> kvx::kPerformer{"Performer", kPerformerRows, {.leastFields = 17, .isReadOnly = true}};
static_assert(kPerformer.headerBytes() == 109);
KVX_LOADER(Performer, KVXLoadPerformerFromBlob)
KVX_NEW_LOADER(Performer, KVXLoadNewPerformerFromBlob)
KVX_FREE(Performer, KVXFreePerformer)
