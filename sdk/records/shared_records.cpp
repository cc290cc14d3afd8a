// SPDX-License-Identifier: Apache-2.0
// The small records that recur inside the others and in requests.
#include "records/all_records.h"
#include "records/record_functions.h"

#include <algorithm>

using namespace kvx;

constexpr auto kValuePairRows = rowsOf<ValuePair>({
    text<&ValuePair::id>(),
    text<&ValuePair::value>(),
});
constexpr Table<ValuePair> kvx::kValuePair{"ValuePair", kValuePairRows};
static_assert(kValuePair.headerBytes() == 13);
KVX_WRITER(ValuePair, KVXGetValuePairBlobSize, KVXGetValuePairBlob)
KVX_LOADER(ValuePair, KVXLoadValuePairFromBlob)
KVX_FREE_ARRAY(ValuePair, KVXFreeValuePairs)

constexpr auto kValuePairYOMIRows = rowsOf<ValuePairYOMI>({
    text<&ValuePairYOMI::propertyId>(),
    text<&ValuePairYOMI::property>(),
    text<&ValuePairYOMI::valueId>(),
    text<&ValuePairYOMI::value>(),
});
constexpr Table<ValuePairYOMI> kvx::kValuePairYOMI{"ValuePairYOMI", kValuePairYOMIRows};
static_assert(kValuePairYOMI.headerBytes() == 21);
KVX_WRITER(ValuePairYOMI, KVXGetValuePairYOMIBlobSize, KVXGetValuePairYOMIBlob)
KVX_LOADER(ValuePairYOMI, KVXLoadValuePairYOMIFromBlob)
KVX_FREE_ARRAY(ValuePairYOMI, KVXFreeValuePairYOMIs)

// The server has text5 and text6 ahead of text4: on purpose the rows are in its order, not in that of the members.
constexpr auto kCreditRows = rowsOf<Credit>({
    text<&Credit::text1>(),
    text<&Credit::text2>(),
    text<&Credit::text3>(),
    text<&Credit::text5>(),
    text<&Credit::text6>(),
    text<&Credit::text4>(),
});
constexpr Table<Credit> kvx::kCredit{"Credit", kCreditRows};
static_assert(kCredit.headerBytes() == 29);
KVX_WRITER(Credit, KVXGetCreditsBlobSize, KVXGetCreditsBlob)
KVX_LOADER(Credit, KVXLoadCreditFromBlob)
KVX_FREE_ARRAY(Credit, KVXFreeCredits)

// Strict on purpose where other records are lenient: exactly two fields, and a number of exactly two bytes.
constexpr auto kNumValuePairRows = rowsOf<NumValuePair>({
    exactWidth(shortNumber<&NumValuePair::number>()),
    text<&NumValuePair::value>(),
});
constexpr Table<NumValuePair> kvx::kNumValuePair{"NumValuePair", kNumValuePairRows, {.exactFields = 2}};
static_assert(kNumValuePair.headerBytes() == 13);
KVX_WRITER(NumValuePair, KVXGetNumValuePairBlobSize, KVXGetNumValuePairBlob)
KVX_LOADER(NumValuePair, KVXLoadNumValuePairFromBlob)
KVX_FREE(NumValuePair, KVXFreeNumValuePair)
// The bare array is not a field of a record, so the array primitives do not fit: it writes every start offset itself,
// its table has room for the whole count (only the count byte is taken modulo 256). Without elements it is a header
// instead of nothing, and a negative count shortens that header, in size and position alike, both on purpose.
extern "C" int32_t KVXGetNumValuePairsBlobSize(const NumValuePair* array, int16_t count, uint32_t* size) noexcept {
    uint64_t total = blobHeaderBytes(static_cast<uint32_t>(count));
    for (int32_t i = 0; i < count && total < kTooLong; ++i) {
        uint32_t element = 0;
        measureFields(kNumValuePair, &array[i], &element);
        total += element;
    }
    *size = static_cast<uint32_t>(std::min<uint64_t>(total, kTooLong));
    return total < kTooLong ? kOk : kFailed;
}
extern "C" int32_t KVXGetNumValuePairsBlob(const NumValuePair* array, int16_t count, KVXBlob* blob) noexcept {
    blob->count = static_cast<uint32_t>(count);
    blob->data[0] = static_cast<uint8_t>(count);
    blob->length = blobHeaderBytes(static_cast<uint32_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        markOffset(blob, static_cast<uint32_t>(i));
        KVXBlob element{blob->data + blob->length, 0, 0};
        if (failed(writeFields(kNumValuePair, &array[i], &element)) || failed(advance(blob, element.length))) {
            return kFailed;
        }
        markOffset(blob, static_cast<uint32_t>(i) + 1);
    }
    return kOk;
}

// The server has text4 ahead of text3, and so have the rows, on purpose.
constexpr auto kReleaseRows = rowsOf<Release>({
    text<&Release::text1>(),
    text<&Release::text2>(),
    text<&Release::text4>(),
    text<&Release::text3>(),
});
constexpr Table<Release> kvx::kRelease{"Release", kReleaseRows};
static_assert(kRelease.headerBytes() == 21);
KVX_WRITER(Release, KVXGetReleaseBlobSize, KVXGetReleaseBlob)
KVX_LOADER(Release, KVXLoadReleaseFromBlob)
KVX_FREE_ARRAY(Release, KVXFreeReleases)
// Leaves the release, its member pointers and the caller's pointer as they are, on purpose: the owner frees the record.
extern "C" int32_t KVXFreeRelease(Release** record) noexcept {
    return record == nullptr ? kOk : freeRecordContents(kRelease, *record);
}
