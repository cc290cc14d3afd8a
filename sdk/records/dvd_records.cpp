// SPDX-License-Identifier: Apache-2.0
// DVDs, their discs, and the records that discs hold.
#include "records/all_records.h"
#include "records/record_functions.h"

using namespace kvx;

constexpr auto kShortDVDRows = rowsOf<ShortDVD>({
    text<&ShortDVD::text0>(),
    text<&ShortDVD::text1>(),
    text<&ShortDVD::text2>(),
    text<&ShortDVD::text3>(),
});
constexpr Table<ShortDVD> kvx::kShortDVD{"ShortDVD", kShortDVDRows};
static_assert(kShortDVD.headerBytes() == 21);
KVX_WRITER(ShortDVD, KVXGetShortDVDBlobSize, KVXGetShortDVD)
KVX_LOADER(ShortDVD, KVXLoadShortDVDFromBlob)
KVX_FREE_CONTENTS(ShortDVD, KVXFreeShortDVDContents)

constexpr auto kDVDChapterRows = rowsOf<DVDChapter>({
    shortNumber<&DVDChapter::short0>(),
    shortNumber<&DVDChapter::short1>(),
    text<&DVDChapter::text2>(),
    shortNumber<&DVDChapter::short3>(),
});
constexpr Table<DVDChapter> kvx::kDVDChapter{"DVDChapter", kDVDChapterRows};
static_assert(kDVDChapter.headerBytes() == 21);
KVX_WRITER(DVDChapter, KVXGetDVDChapterBlobSize, KVXGetDVDChapter)
KVX_LOADER(DVDChapter, KVXLoadDVDChapterFromBlob)
KVX_FREE_ARRAY(DVDChapter, KVXFreeDVDChapters)

constexpr auto kDVDCastRows = rowsOf<DVDCast>({
    text<&DVDCast::text0>(),
    text<&DVDCast::text1>(),
    text<&DVDCast::text2>(),
    text<&DVDCast::text3>(),
    text<&DVDCast::text4>(),
});
constexpr Table<DVDCast> kvx::kDVDCast{"DVDCast", kDVDCastRows};
static_assert(kDVDCast.headerBytes() == 25);
KVX_WRITER(DVDCast, KVXGetDVDCastBlobSize, KVXGetDVDCast)
KVX_LOADER(DVDCast, KVXLoadDVDCastFromBlob)
KVX_FREE_CONTENTS(DVDCast, KVXFreeDVDCastContents)

constexpr auto kDVDDiscRows = rowsOf<DVDDisc>({
    text<&DVDDisc::text0>(),
    text<&DVDDisc::text1>(),
    shortNumber<&DVDDisc::short2>(),
    texts<&DVDDisc::texts3, &DVDDisc::texts3Count>(),
    text<&DVDDisc::text4>(),
    text<&DVDDisc::text5>(),
    text<&DVDDisc::text6>(),
    records<&DVDDisc::valuePairs7, &DVDDisc::valuePairs7Count>(kValuePair),
    records<&DVDDisc::valuePairs8, &DVDDisc::valuePairs8Count>(kValuePair),
    records<&DVDDisc::cast, &DVDDisc::castCount>(kDVDCast),
    text<&DVDDisc::text10>(),
    text<&DVDDisc::text11>(),
    text<&DVDDisc::text12>(),
    records<&DVDDisc::valuePairs13, &DVDDisc::valuePairs13Count>(kValuePair),
    text<&DVDDisc::text14>(),
    text<&DVDDisc::text15>(),
    text<&DVDDisc::text16>(),
    shortNumber<&DVDDisc::short17>(),
    text<&DVDDisc::text18>(),
    text<&DVDDisc::text19>(),
    text<&DVDDisc::text20>(),
    shortNumber<&DVDDisc::short21>(),
    shortNumber<&DVDDisc::short22>(),
    texts<&DVDDisc::texts23, &DVDDisc::texts23Count>(),
    text<&DVDDisc::text24>(),
    text<&DVDDisc::text25>(),
    text<&DVDDisc::text26>(),
    records<&DVDDisc::chapters27, &DVDDisc::chapters27Count>(kDVDChapter),
    records<&DVDDisc::chapters28, &DVDDisc::chapters28Count>(kDVDChapter),
    shortNumber<&DVDDisc::short29>(),
    records<&DVDDisc::valuePairs30, &DVDDisc::valuePairs30Count>(kValuePair),
    texts<&DVDDisc::texts31, &DVDDisc::texts31Count>(),
    records<&DVDDisc::shortDvds, &DVDDisc::shortDvdCount>(kShortDVD),
    text<&DVDDisc::text33>(),
    shortNumber<&DVDDisc::short34>(),
    text<&DVDDisc::text35>(),
    text<&DVDDisc::text36>(),
    text<&DVDDisc::text37>(),
});
// The only record whose loader zeroes it first, on purpose.
constexpr Table<DVDDisc> kvx::kDVDDisc{"DVDDisc", kDVDDiscRows, {.isZeroedByLoader = true}};
static_assert(kDVDDisc.headerBytes() == 157);
KVX_WRITER(DVDDisc, KVXGetDVDDiscBlobSize, KVXGetDVDDiscBlob)
KVX_LOADER(DVDDisc, KVXLoadDVDDiscFromBlob)
KVX_FREE_ARRAY(DVDDisc, KVXFreeDVDDiscs)
KVX_FREE_CONTENTS(DVDDisc, KVXFreeDVDDiscContents)

constexpr auto kDVDRows = rowsOf<DVD>({
    text<&DVD::dvdId>(),
    text<&DVD::title>(),
    text<&DVD::text2>(),
    shortNumber<&DVD::short3>(),
    records<&DVD::discs, &DVD::discCount>(kDVDDisc),
    text<&DVD::text5>(),
});
// The allocating loader asks for 2 fields although it reads all 6: a blob of 2 to 4 fails later.
constexpr Table<DVD> kvx::kDVD{"DVD", kDVDRows, {.leastFields = 2}};
static_assert(kDVD.headerBytes() == 29);
KVX_WRITER(DVD, KVXGetDVDBlobSize, KVXGetDVDBlob)
KVX_LOADER(DVD, KVXLoadDVDFromBlob)
KVX_NEW_LOADER(DVD, KVXLoadNewDVDFromBlob)
KVX_FREE(DVD, KVXFreeDVD)
