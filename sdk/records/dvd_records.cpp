// SPDX-License-Identifier: Apache-2.0
// DVDs, their discs, and the records that discs hold.
#include "records/all_records.h"
#include "records/record_walkers.h"

namespace kvx {
namespace {

constexpr auto kShortDvdRows = rowsOf<ShortDVD>(text<&ShortDVD::text0>(), text<&ShortDVD::text1>(),
                                                text<&ShortDVD::text2>(), text<&ShortDVD::text3>());

constexpr auto kDvdChapterRows =
    rowsOf<DVDChapter>(shortNumber<&DVDChapter::short0>(), shortNumber<&DVDChapter::short1>(),
                       text<&DVDChapter::text2>(), shortNumber<&DVDChapter::short3>());

constexpr auto kDvdCastRows = rowsOf<DVDCast>(text<&DVDCast::text0>(), text<&DVDCast::text1>(), text<&DVDCast::text2>(),
                                              text<&DVDCast::text3>(), text<&DVDCast::text4>());

constexpr auto kDvdDiscRows = rowsOf<DVDDisc>( //
    text<&DVDDisc::text0>(), text<&DVDDisc::text1>(), shortNumber<&DVDDisc::short2>(),
    texts<&DVDDisc::texts3, &DVDDisc::texts3Count>(), text<&DVDDisc::text4>(), text<&DVDDisc::text5>(),
    text<&DVDDisc::text6>(), records<&DVDDisc::valuePairs7, &DVDDisc::valuePairs7Count>(kValuePair),
    records<&DVDDisc::valuePairs8, &DVDDisc::valuePairs8Count>(kValuePair),
    records<&DVDDisc::cast, &DVDDisc::castCount>(kDvdCast), text<&DVDDisc::text10>(), text<&DVDDisc::text11>(),
    text<&DVDDisc::text12>(), records<&DVDDisc::valuePairs13, &DVDDisc::valuePairs13Count>(kValuePair),
    text<&DVDDisc::text14>(), text<&DVDDisc::text15>(), text<&DVDDisc::text16>(), shortNumber<&DVDDisc::short17>(),
    text<&DVDDisc::text18>(), text<&DVDDisc::text19>(), text<&DVDDisc::text20>(), shortNumber<&DVDDisc::short21>(),
    shortNumber<&DVDDisc::short22>(), texts<&DVDDisc::texts23, &DVDDisc::texts23Count>(), text<&DVDDisc::text24>(),
    text<&DVDDisc::text25>(), text<&DVDDisc::text26>(),
    records<&DVDDisc::chapters27, &DVDDisc::chapters27Count>(kDvdChapter),
    records<&DVDDisc::chapters28, &DVDDisc::chapters28Count>(kDvdChapter), shortNumber<&DVDDisc::short29>(),
    records<&DVDDisc::valuePairs30, &DVDDisc::valuePairs30Count>(kValuePair),
    texts<&DVDDisc::texts31, &DVDDisc::texts31Count>(),
    records<&DVDDisc::shortDvds, &DVDDisc::shortDvdCount>(kShortDvd), text<&DVDDisc::text33>(),
    shortNumber<&DVDDisc::short34>(), text<&DVDDisc::text35>(), text<&DVDDisc::text36>(), text<&DVDDisc::text37>());

constexpr auto kDvdRows =
    rowsOf<DVD>(text<&DVD::dvdId>(), text<&DVD::title>(), text<&DVD::text2>(), shortNumber<&DVD::short3>(),
                records<&DVD::discs, &DVD::discCount>(kDvdDisc), text<&DVD::text5>());

} // namespace

constexpr RecordOf<ShortDVD> kShortDvd =
    describe<ShortDVD, KVXLoadShortDVDFromBlob, KVXGetShortDVD, KVXGetShortDVDBlobSize>("ShortDVD", kShortDvdRows);
static_assert(kShortDvd.headerBytes() == 21);

constexpr RecordOf<DVDChapter> kDvdChapter =
    describe<DVDChapter, KVXLoadDVDChapterFromBlob, KVXGetDVDChapter, KVXGetDVDChapterBlobSize>("DVDChapter",
                                                                                                kDvdChapterRows);
static_assert(kDvdChapter.headerBytes() == 21);

constexpr RecordOf<DVDCast> kDvdCast =
    describe<DVDCast, KVXLoadDVDCastFromBlob, KVXGetDVDCast, KVXGetDVDCastBlobSize>("DVDCast", kDvdCastRows);
static_assert(kDvdCast.headerBytes() == 25);

// Alone among the loaders its loader zeroes the record first.
constexpr RecordOf<DVDDisc> kDvdDisc =
    describe<DVDDisc, KVXLoadDVDDiscFromBlob, KVXGetDVDDiscBlob, KVXGetDVDDiscBlobSize>("DVDDisc", kDvdDiscRows,
                                                                                        {.isZeroedByLoader = true});
static_assert(kDvdDisc.headerBytes() == 157);

// 2 fields are asked for although all 6 are read: a blob of 2 to 4 fails later.
constexpr RecordOf<DVD> kDvd =
    describe<DVD, KVXLoadDVDFromBlob, KVXGetDVDBlob, KVXGetDVDBlobSize>("DVD", kDvdRows, {.leastFields = 2});
static_assert(kDvd.headerBytes() == 29);

} // namespace kvx

using namespace kvx;

extern "C" {

int32_t KVXGetDVDBlobSize(const DVD* record, uint32_t* size) { return measureRecord(kDvd, record, size); }
int32_t KVXGetDVDBlob(const DVD* record, KVXBlob* blob) { return writeRecord(kDvd, record, blob); }
int32_t KVXLoadDVDFromBlob(const KVXBlob* blob, DVD* record) { return loadRecord(kDvd, blob, record); }
int32_t KVXLoadNewDVDFromBlob(const KVXBlob* blob, DVD** record) { return loadNewRecord(kDvd, blob, record); }
int32_t KVXFreeDVD(DVD** record) { return freeRecord(kDvd, record); }

int32_t KVXGetDVDDiscBlobSize(const DVDDisc* record, uint32_t* size) { return measureRecord(kDvdDisc, record, size); }
int32_t KVXGetDVDDiscBlob(const DVDDisc* record, KVXBlob* blob) { return writeRecord(kDvdDisc, record, blob); }
int32_t KVXLoadDVDDiscFromBlob(const KVXBlob* blob, DVDDisc* record) { return loadRecord(kDvdDisc, blob, record); }
int32_t KVXFreeDVDDiscs(DVDDisc** array, int16_t count) { return freeRecords(kDvdDisc, array, count); }
int32_t KVXFreeDVDDiscContents(DVDDisc* record) { return freeRecordContents(kDvdDisc, record); }

int32_t KVXGetShortDVDBlobSize(const ShortDVD* record, uint32_t* size) {
    return measureRecord(kShortDvd, record, size);
}
int32_t KVXGetShortDVD(const ShortDVD* record, KVXBlob* blob) { return writeRecord(kShortDvd, record, blob); }
int32_t KVXLoadShortDVDFromBlob(const KVXBlob* blob, ShortDVD* record) { return loadRecord(kShortDvd, blob, record); }
int32_t KVXFreeShortDVDContents(ShortDVD* record) { return freeRecordContents(kShortDvd, record); }

int32_t KVXGetDVDChapterBlobSize(const DVDChapter* record, uint32_t* size) {
    return measureRecord(kDvdChapter, record, size);
}
int32_t KVXGetDVDChapter(const DVDChapter* record, KVXBlob* blob) { return writeRecord(kDvdChapter, record, blob); }
int32_t KVXLoadDVDChapterFromBlob(const KVXBlob* blob, DVDChapter* record) {
    return loadRecord(kDvdChapter, blob, record);
}
int32_t KVXFreeDVDChapters(DVDChapter** array, int16_t count) { return freeRecords(kDvdChapter, array, count); }

int32_t KVXGetDVDCastBlobSize(const DVDCast* record, uint32_t* size) { return measureRecord(kDvdCast, record, size); }
int32_t KVXGetDVDCast(const DVDCast* record, KVXBlob* blob) { return writeRecord(kDvdCast, record, blob); }
int32_t KVXLoadDVDCastFromBlob(const KVXBlob* blob, DVDCast* record) { return loadRecord(kDvdCast, blob, record); }
int32_t KVXFreeDVDCastContents(DVDCast* record) { return freeRecordContents(kDvdCast, record); }

} // extern "C"
