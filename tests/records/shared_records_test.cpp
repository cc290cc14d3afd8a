// SPDX-License-Identifier: Apache-2.0
// The small shared records: field order, strictness, freeing, the bare pair array.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

namespace kvxtest {
namespace {

template <class Record>
Record load(const Bytes& bytes, int32_t (*loader)(const KVXBlob*, Record*), int32_t expected = 0) {
    const GuardedBlob blob(bytes);
    Record record{};
    EXPECT_EQ(loader(blob.cursor(), &record), expected);
    return record;
}

// A one-element array in hook memory, for the free functions of arrays.
template <class Record>
Record* asArray(const Record& record) {
    auto* array = static_cast<Record*>(KVXMalloc(sizeof(Record)));
    *array = record;
    return array;
}

TEST(ValuePairRecord, FillsItsMembers) {
    CountingHooks hooks;
    const ValuePair pair = load(assemble(valuePairFields()), &KVXLoadValuePairFromBlob);
    EXPECT_EQ(textOf(pair.id), "id");
    EXPECT_EQ(textOf(pair.value), "value");
    ValuePair* array = asArray(pair);
    EXPECT_EQ(KVXFreeValuePairs(&array, 1), 0);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(ValuePairYomiRecord, FillsItsMembers) {
    CountingHooks hooks;
    const ValuePairYOMI pair = load(assemble(valuePairYomiFields()), &KVXLoadValuePairYOMIFromBlob);
    EXPECT_EQ(textOf(pair.propertyId), "propertyId");
    EXPECT_EQ(textOf(pair.property), "property");
    EXPECT_EQ(textOf(pair.valueId), "valueId");
    EXPECT_EQ(textOf(pair.value), "value");
    ValuePairYOMI* array = asArray(pair);
    EXPECT_EQ(KVXFreeValuePairYOMIs(&array, 1), 0);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(ValuePairYomiRecord, FailsAtTheFirstFieldBeyondItsBlob) {
    CountingHooks hooks;
    // One field only. Its bytes serve as the end of field 1, which is empty, so field 2 is what fails.
    const GuardedBlob blob(assemble({intBytes(13)}));
    ValuePairYOMI pair{};
    EXPECT_EQ(KVXLoadValuePairYOMIFromBlob(blob.cursor(), &pair), -1);
    EXPECT_NE(pair.propertyId, nullptr);
    EXPECT_EQ(pair.property, nullptr);
    KVXFreeValueLength(&pair.propertyId);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(ValuePairRecord, IgnoresFieldsBeyondItsOwn) {
    CountingHooks hooks;
    Fields fields = valuePairFields();
    fields.push_back(bytesOf("more"));
    ValuePair* array = asArray(load(assemble(fields), &KVXLoadValuePairFromBlob));
    EXPECT_EQ(textOf(array->value), "value");
    KVXFreeValuePairs(&array, 1);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(CreditRecord, FillsItsMembers) {
    CountingHooks hooks;
    const Credit credit = load(assemble(creditFields()), &KVXLoadCreditFromBlob);
    EXPECT_EQ(textOf(credit.text1), "text1");
    EXPECT_EQ(textOf(credit.text2), "text2");
    EXPECT_EQ(textOf(credit.text3), "text3");
    EXPECT_EQ(textOf(credit.text4), "text4");
    EXPECT_EQ(textOf(credit.text5), "text5");
    EXPECT_EQ(textOf(credit.text6), "text6");
    Credit* array = asArray(credit);
    EXPECT_EQ(KVXFreeCredits(&array, 1), 0);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(CreditRecord, HoldsText4InField5) {
    CountingHooks hooks;
    Text text("only");
    Credit credit{};
    credit.text4 = text.get();
    uint32_t size = 0;
    EXPECT_EQ(KVXGetCreditsBlobSize(&credit, &size), 0);
    EXPECT_EQ(size, 33U);
    const Bytes blob = written(kvx::kCredit, &credit);
    EXPECT_EQ(hexDump(blob), hexDump(assemble({{}, {}, {}, {}, {}, bytesOf("only")})));
    const Credit loaded = load(blob, &KVXLoadCreditFromBlob);
    EXPECT_EQ(textOf(loaded.text4), "only");
    for (const KVXValueLength* other : {loaded.text1, loaded.text2, loaded.text3, loaded.text5, loaded.text6}) {
        EXPECT_EQ(other, nullptr);
    }
    Credit* array = asArray(loaded);
    KVXFreeCredits(&array, 1);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(FreeingCredits, FreesOnlyTheArrayForACountBelowOne) {
    for (const int16_t count : {int16_t{0}, int16_t{-1}}) {
        CountingHooks hooks;
        Credit* array = asArray(load(assemble(creditFields()), &KVXLoadCreditFromBlob));
        EXPECT_EQ(KVXFreeCredits(&array, count), 0);
        EXPECT_EQ(array, nullptr);
        EXPECT_EQ(hooks.live(), 12U); // six texts of two blocks each
    }
}

TEST(FreeingArrays, Frees255Elements) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({assemble(Fields(255, assemble(creditFields())))}));
    void* array = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(
        KVXGetNewArray(blob.cursor(), 0, sizeof(Credit), &loadElement<Credit, KVXLoadCreditFromBlob>, &array, &count),
        0);
    EXPECT_EQ(hooks.live(), 1 + 255U * 12);
    auto* credits = static_cast<Credit*>(array);
    EXPECT_EQ(KVXFreeCredits(&credits, 255), 0);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(hooks.strayFrees(), 0);
}

TEST(FreeingArrays, IgnoresNullPointers) {
    Credit* none = nullptr;
    EXPECT_EQ(KVXFreeCredits(nullptr, 1), 0);
    EXPECT_EQ(KVXFreeCredits(&none, 1), 0);
}

TEST(NumValuePairRecord, FillsItsMembers) {
    CountingHooks hooks;
    NumValuePair* pair = asArray(load(assemble(numValuePairFields()), &KVXLoadNumValuePairFromBlob));
    EXPECT_EQ(pair->number, 1000);
    EXPECT_EQ(textOf(pair->value), "value");
    EXPECT_EQ(KVXFreeNumValuePair(&pair), 0);
    EXPECT_EQ(pair, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(NumValuePairRecord, IsStrictAboutCountAndWidth) {
    struct Case {
        const char* name;
        Fields fields;
    };
    const Case cases[] = {
        {"no field", {}},
        {"one field", {shortBytes(1)}},
        {"three fields", {shortBytes(1), bytesOf("v"), {}}},
        {"number of 4 bytes", {intBytes(1), bytesOf("v")}},
        {"number of 1 byte", {Bytes{1}, bytesOf("v")}},
        {"no number", {{}, bytesOf("v")}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CountingHooks hooks;
        const NumValuePair pair = load(assemble(c.fields), &KVXLoadNumValuePairFromBlob, -1);
        EXPECT_EQ(pair.number, 0);
        EXPECT_EQ(pair.value, nullptr);
        EXPECT_EQ(hooks.allocations(), 0);
    }
}

TEST(NumValuePairRecord, IsMeasuredAs15AndItsValue) {
    Text text("ab");
    const NumValuePair pair{7, text.get()};
    uint32_t size = 0;
    EXPECT_EQ(KVXGetNumValuePairBlobSize(&pair, &size), 0);
    EXPECT_EQ(size, 17U);
}

TEST(ReleaseRecord, HoldsText4AheadOfText3) {
    CountingHooks hooks;
    const Release release = load(assemble(releaseFields()), &KVXLoadReleaseFromBlob);
    EXPECT_EQ(textOf(release.text1), "text1");
    EXPECT_EQ(textOf(release.text2), "text2");
    EXPECT_EQ(textOf(release.text3), "text3");
    EXPECT_EQ(textOf(release.text4), "text4");
    Release* array = asArray(release);
    EXPECT_EQ(KVXFreeReleases(&array, 1), 0);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(FreeingARelease, LeavesTheRecordAndEveryPointer) {
    CountingHooks hooks;
    Release* release = asArray(load(assemble(releaseFields()), &KVXLoadReleaseFromBlob));
    const Release before = *release;
    Release* const pointer = release;
    EXPECT_EQ(KVXFreeRelease(&release), 0);
    EXPECT_EQ(release, pointer);
    EXPECT_EQ(release->text1, before.text1);
    EXPECT_EQ(release->text2, before.text2);
    EXPECT_EQ(release->text3, before.text3);
    EXPECT_EQ(release->text4, before.text4);
    EXPECT_EQ(hooks.live(), 1U);
    KVXFree(release);
    Release* none = nullptr;
    EXPECT_EQ(KVXFreeRelease(nullptr), 0);
    EXPECT_EQ(KVXFreeRelease(&none), 0);
}

Bytes writtenPairs(const NumValuePair* pairs, int16_t count) {
    uint32_t size = 0;
    EXPECT_EQ(KVXGetNumValuePairsBlobSize(pairs, count, &size), 0);
    const GuardedBytes buffer(Bytes(size, 0xCC));
    KVXBlob blob{buffer.data(), 0, 0};
    EXPECT_EQ(KVXGetNumValuePairsBlob(pairs, count, &blob), 0);
    EXPECT_EQ(blob.length, size);
    return {buffer.data(), buffer.data() + size};
}

TEST(NumValuePairs, AreABlobOfElementBlobs) {
    Text first("0 value");
    Text second("1 value");
    const NumValuePair pairs[] = {{1000, first.get()}, {1100, second.get()}};
    const Bytes blob = writtenPairs(pairs, 2);
    EXPECT_EQ(hexDump(blob),
              hexDump(assemble({assemble(numValuePairFields("0 ", 1000)), assemble(numValuePairFields("1 ", 1100))})));
    EXPECT_EQ(hexDump(blob), hexDump(golden("blob_NumValuePairs.bin")));
}

TEST(NumValuePairs, WithOneValueAbAre26Bytes) {
    Text text("ab");
    const NumValuePair pair{0x0102, text.get()};
    EXPECT_EQ(hexDump(writtenPairs(&pair, 1)),
              hexDump(fromHex("01 09000000 1a000000 02 0d000000 0f000000 11000000 0201 6162")));
}

TEST(NumValuePairs, WithoutElementsAreAHeaderOfWhichOneByteIsWritten) {
    EXPECT_EQ(hexDump(writtenPairs(nullptr, 0)), hexDump(fromHex("00 cc cc cc cc")));
}

TEST(NumValuePairs, OfANegativeCountShortenTheHeader) {
    EXPECT_EQ(hexDump(writtenPairs(nullptr, -1)), hexDump(fromHex("ff")));
}

TEST(NumValuePairs, HaveATableForAll256AndACountByteOfZero) {
    const std::vector<NumValuePair> pairs(256);
    Fields fields(256, assemble(Fields{shortBytes(0), {}}));
    EXPECT_EQ(hexDump(writtenPairs(pairs.data(), 256)), hexDump(assemble(fields)));
}

TEST(NumValuePairs, AreReadBackAsAnArray) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({golden("blob_NumValuePairs.bin")}));
    void* array = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(KVXGetNewArray(blob.cursor(), 0, sizeof(NumValuePair),
                             &loadElement<NumValuePair, KVXLoadNumValuePairFromBlob>, &array, &count),
              0);
    auto* pairs = static_cast<NumValuePair*>(array);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(pairs[1].number, 1100);
    EXPECT_EQ(textOf(pairs[1].value), "1 value");
    KVXFreeValueLength(&pairs[0].value);
    KVXFreeValueLength(&pairs[1].value);
    KVXFree(array);
    EXPECT_EQ(hooks.live(), 0U);
}

} // namespace
} // namespace kvxtest
