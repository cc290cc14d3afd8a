// SPDX-License-Identifier: Apache-2.0
// The small records that recur inside the others and in requests.
#include "records/all_records.h"
#include "records/record_walkers.h"

#include <algorithm>

namespace kvx {
namespace {

constexpr auto kValuePairRows = rowsOf<ValuePair>(text<&ValuePair::id>(), text<&ValuePair::value>());

constexpr auto kValuePairYomiRows =
    rowsOf<ValuePairYOMI>(text<&ValuePairYOMI::propertyId>(), text<&ValuePairYOMI::property>(),
                          text<&ValuePairYOMI::valueId>(), text<&ValuePairYOMI::value>());

constexpr auto kCreditRows = rowsOf<Credit>(text<&Credit::text1>(), text<&Credit::text2>(), text<&Credit::text3>(),
                                            text<&Credit::text5>(), text<&Credit::text6>(), // the server has these two
                                            text<&Credit::text4>());                        // ahead of text4

// Strict where the others are lenient: exactly two fields, and a number of exactly two bytes.
constexpr auto kNumValuePairRows =
    rowsOf<NumValuePair>(exactWidth(shortNumber<&NumValuePair::number>()), text<&NumValuePair::value>());

constexpr auto kReleaseRows = rowsOf<Release>(text<&Release::text1>(), text<&Release::text2>(),
                                              text<&Release::text4>(),  // the server has this one
                                              text<&Release::text3>()); // ahead of text3

} // namespace

constexpr RecordOf<ValuePair> kValuePair =
    describe<ValuePair, KVXLoadValuePairFromBlob, KVXGetValuePairBlob, KVXGetValuePairBlobSize>("ValuePair",
                                                                                                kValuePairRows);
static_assert(kValuePair.headerBytes() == 13);

constexpr RecordOf<ValuePairYOMI> kValuePairYomi =
    describe<ValuePairYOMI, KVXLoadValuePairYOMIFromBlob, KVXGetValuePairYOMIBlob, KVXGetValuePairYOMIBlobSize>(
        "ValuePairYOMI", kValuePairYomiRows);
static_assert(kValuePairYomi.headerBytes() == 21);

constexpr RecordOf<Credit> kCredit =
    describe<Credit, KVXLoadCreditFromBlob, KVXGetCreditsBlob, KVXGetCreditsBlobSize>("Credit", kCreditRows);
static_assert(kCredit.headerBytes() == 29);

constexpr RecordOf<NumValuePair> kNumValuePair =
    describe<NumValuePair, KVXLoadNumValuePairFromBlob, KVXGetNumValuePairBlob, KVXGetNumValuePairBlobSize>(
        "NumValuePair", kNumValuePairRows, {.exactFields = 2});
static_assert(kNumValuePair.headerBytes() == 13);

constexpr RecordOf<Release> kRelease =
    describe<Release, KVXLoadReleaseFromBlob, KVXGetReleaseBlob, KVXGetReleaseBlobSize>("Release", kReleaseRows);
static_assert(kRelease.headerBytes() == 21);

} // namespace kvx

using namespace kvx;

extern "C" {

int32_t KVXGetValuePairBlobSize(const ValuePair* record, uint32_t* size) {
    return measureRecord(kValuePair, record, size);
}
int32_t KVXGetValuePairBlob(const ValuePair* record, KVXBlob* blob) { return writeRecord(kValuePair, record, blob); }
int32_t KVXLoadValuePairFromBlob(const KVXBlob* blob, ValuePair* record) {
    return loadRecord(kValuePair, blob, record);
}
int32_t KVXFreeValuePairs(ValuePair** array, int16_t count) { return freeRecords(kValuePair, array, count); }

int32_t KVXGetValuePairYOMIBlobSize(const ValuePairYOMI* record, uint32_t* size) {
    return measureRecord(kValuePairYomi, record, size);
}
int32_t KVXGetValuePairYOMIBlob(const ValuePairYOMI* record, KVXBlob* blob) {
    return writeRecord(kValuePairYomi, record, blob);
}
int32_t KVXLoadValuePairYOMIFromBlob(const KVXBlob* blob, ValuePairYOMI* record) {
    return loadRecord(kValuePairYomi, blob, record);
}
int32_t KVXFreeValuePairYOMIs(ValuePairYOMI** array, int16_t count) {
    return freeRecords(kValuePairYomi, array, count);
}

int32_t KVXGetCreditsBlobSize(const Credit* record, uint32_t* size) { return measureRecord(kCredit, record, size); }
int32_t KVXGetCreditsBlob(const Credit* record, KVXBlob* blob) { return writeRecord(kCredit, record, blob); }
int32_t KVXLoadCreditFromBlob(const KVXBlob* blob, Credit* record) { return loadRecord(kCredit, blob, record); }
int32_t KVXFreeCredits(Credit** array, int16_t count) { return freeRecords(kCredit, array, count); }

int32_t KVXGetNumValuePairBlobSize(const NumValuePair* record, uint32_t* size) {
    return measureRecord(kNumValuePair, record, size);
}
int32_t KVXGetNumValuePairBlob(const NumValuePair* record, KVXBlob* blob) {
    return writeRecord(kNumValuePair, record, blob);
}
int32_t KVXLoadNumValuePairFromBlob(const KVXBlob* blob, NumValuePair* record) {
    return loadRecord(kNumValuePair, blob, record);
}
int32_t KVXFreeNumValuePair(NumValuePair** record) { return freeRecord(kNumValuePair, record); }

// The bare array is no field of a record, so the array primitives do not fit: it writes every start offset itself, its
// table has room for the whole count (only the count byte is taken modulo 256), and with no elements it is a header
// instead of nothing. A negative count shortens that header, in size and position alike.
int32_t KVXGetNumValuePairsBlobSize(const NumValuePair* array, int16_t count, uint32_t* size) {
    uint64_t total = blobHeaderBytes(static_cast<uint32_t>(count));
    for (int32_t i = 0; i < count && total < kTooLong; ++i) {
        uint32_t element = 0;
        measureFields(kNumValuePair, &array[i], &element);
        total += element;
    }
    *size = static_cast<uint32_t>(std::min<uint64_t>(total, kTooLong));
    return total < kTooLong ? kOk : kFailed;
}
int32_t KVXGetNumValuePairsBlob(const NumValuePair* array, int16_t count, KVXBlob* blob) {
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

int32_t KVXGetReleaseBlobSize(const Release* record, uint32_t* size) { return measureRecord(kRelease, record, size); }
int32_t KVXGetReleaseBlob(const Release* record, KVXBlob* blob) { return writeRecord(kRelease, record, blob); }
int32_t KVXLoadReleaseFromBlob(const KVXBlob* blob, Release* record) { return loadRecord(kRelease, blob, record); }
// Leaves the release, its member pointers and the caller's pointer as they are, on purpose: the owner frees the record.
int32_t KVXFreeRelease(Release** record) { return record == nullptr ? kOk : freeRecordContents(kRelease, *record); }
int32_t KVXFreeReleases(Release** array, int16_t count) { return freeRecords(kRelease, array, count); }

} // extern "C"
