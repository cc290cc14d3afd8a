// SPDX-License-Identifier: Apache-2.0
// Performers: only the server sends them.
#include "records/all_records.h"
#include "records/record_walkers.h"

namespace kvx {
namespace {

constexpr auto kPerformerRows = rowsOf<Performer>( //
    shortNumber<&Performer::short0>(), text<&Performer::text1>(), text<&Performer::text2>(), text<&Performer::text3>(),
    text<&Performer::text4>(), text<&Performer::text5>(),
    records<&Performer::valuePairs6, &Performer::valuePairs6Count>(kValuePair), text<&Performer::text7>(),
    texts<&Performer::texts8, &Performer::texts8Count>(), text<&Performer::text9>(), text<&Performer::text10>(),
    text<&Performer::text11>(), text<&Performer::text12>(),
    records<&Performer::shortAlbums, &Performer::shortAlbumCount>(kShortAlbum),
    texts<&Performer::texts14, &Performer::texts14Count>(),
    records<&Performer::yomiList15, &Performer::yomiList15Count>(kValuePairYomi),
    records<&Performer::yomiList16, &Performer::yomiList16Count>(kValuePairYomi), text<&Performer::text17>(),
    records<&Performer::yomiList18, &Performer::yomiList18Count>(kValuePairYomi),
    records<&Performer::yomiList19, &Performer::yomiList19Count>(kValuePairYomi),
    records<&Performer::valuePairs20, &Performer::valuePairs20Count>(kValuePair), text<&Performer::text21>(),
    shortNumber<&Performer::short22>(), records<&Performer::shortDvds, &Performer::shortDvdCount>(kShortDvd),
    shortNumber<&Performer::short24>(), text<&Performer::text25>());

} // namespace

// 17 fields are asked for although all 26 are read: a blob of 17 to 24 fails later, at the first index beyond its
// count. Both tests are kept.
constexpr RecordOf<Performer> kPerformer =
    describeReadOnly<Performer, KVXLoadPerformerFromBlob>("Performer", kPerformerRows, {.leastFields = 17});
static_assert(kPerformer.headerBytes() == 109);

} // namespace kvx

using namespace kvx;

extern "C" {

int32_t KVXLoadPerformerFromBlob(const KVXBlob* blob, Performer* record) {
    return loadRecord(kPerformer, blob, record);
}
int32_t KVXLoadNewPerformerFromBlob(const KVXBlob* blob, Performer** record) {
    return loadNewRecord(kPerformer, blob, record);
}
int32_t KVXFreePerformer(Performer** record) { return freeRecord(kPerformer, record); }

} // extern "C"
