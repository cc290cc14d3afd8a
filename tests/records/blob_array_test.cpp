// SPDX-License-Identifier: Apache-2.0
// Arrays: nested blobs whose fields are the elements.
#include "record_support.h"
#include "support/blob_assembler.h"
#include "support/counting_hooks.h"

namespace kvxtest {
namespace {

// An application's own record: one short.
struct Number {
    uint16_t value;
};

int32_t loadNumber(const KVXBlob* blob, void* element) {
    return KVXGetShortField(blob, 0, &static_cast<Number*>(element)->value);
}
int32_t writeNumber(const void* element, KVXBlob* blob) {
    blob->count = 1;
    blob->data[0] = 1;
    blob->length = 9;
    return KVXWriteShortToBlob(blob, 0, &static_cast<const Number*>(element)->value);
}
int32_t measureNumber(const void* /*element*/, uint32_t* size) {
    *size = 11;
    return 0;
}
constexpr uint32_t kNumberBlobBytes = 11;

Bytes numberBlob(uint16_t value) { return assemble({shortBytes(value)}); }

TEST(ArrayReader, LoadsEveryElement) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({bytesOf("first"), assemble({numberBlob(5), numberBlob(6), numberBlob(7)})}));
    void* array = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(KVXGetNewArray(blob.cursor(), 1, sizeof(Number), &loadNumber, &array, &count), 0);
    ASSERT_EQ(count, 3);
    const auto* numbers = static_cast<Number*>(array);
    EXPECT_EQ(numbers[0].value, 5);
    EXPECT_EQ(numbers[1].value, 6);
    EXPECT_EQ(numbers[2].value, 7);
    EXPECT_EQ(hooks.largest(), 3 * sizeof(Number));
    KVXFree(array);
}

TEST(ArrayReaders, LeaveTheOutputsUntouchedForAnEmptyField) {
    CountingHooks hooks;
    const Bytes noElements = assemble({});
    for (const Bytes& field : {Bytes{}, noElements}) {
        const GuardedBlob blob(assemble({field}));
        Number other{};
        void* array = &other;
        uint16_t count = 77;
        EXPECT_EQ(KVXGetNewArray(blob.cursor(), 0, sizeof(Number), &loadNumber, &array, &count), 0);
        EXPECT_EQ(array, &other);
        EXPECT_EQ(count, 77);
        KVXValueLength value{};
        KVXValueLength* texts = &value;
        EXPECT_EQ(KVXGetNewValueLengthArray(blob.cursor(), 0, &texts, &count), 0);
        EXPECT_EQ(texts, &value);
        EXPECT_EQ(count, 77);
    }
    EXPECT_EQ(hooks.allocations(), 0);
}

TEST(ArrayReader, LeavesAPartlyFilledArrayWhenAnElementFails) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({assemble({numberBlob(5), Bytes{1}, numberBlob(7)})}));
    void* array = nullptr;
    uint16_t count = 0;
    EXPECT_EQ(KVXGetNewArray(blob.cursor(), 0, sizeof(Number), &loadNumber, &array, &count), -1);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(count, 3);
    const auto* numbers = static_cast<Number*>(array);
    EXPECT_EQ(numbers[0].value, 5);
    EXPECT_EQ(numbers[1].value, 0);
    EXPECT_EQ(numbers[2].value, 0);
    KVXFree(array);
}

TEST(ArrayReader, TestsAnElementsStatusAsASixteenBitValue) {
    struct Case {
        const char* name;
        KVXElementLoader loader;
        int32_t status;
    };
    const Case cases[] = {
        {"low half zero", [](const KVXBlob*, void*) -> int32_t { return 0x10000; }, 0},
        {"low half set", [](const KVXBlob*, void*) -> int32_t { return 0x10001; }, -1},
        {"another failure", [](const KVXBlob*, void*) -> int32_t { return -4; }, -1},
    };
    const GuardedBlob blob(assemble({assemble({numberBlob(5)})}));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        void* array = nullptr;
        uint16_t count = 0;
        EXPECT_EQ(KVXGetNewArray(blob.cursor(), 0, sizeof(Number), c.loader, &array, &count), c.status);
        KVXFree(array);
    }
}

TEST(ArrayReaders, FailWhenTheFieldCannotBeLocatedOrMemoryFails) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({assemble({numberBlob(5)})}));
    void* array = nullptr;
    KVXValueLength* texts = nullptr;
    uint16_t count = 0;
    EXPECT_EQ(KVXGetNewArray(blob.cursor(), 2, sizeof(Number), &loadNumber, &array, &count), -1);
    EXPECT_EQ(KVXGetNewValueLengthArray(blob.cursor(), 2, &texts, &count), -1);
    hooks.failAfter(0);
    EXPECT_EQ(KVXGetNewArray(blob.cursor(), 0, sizeof(Number), &loadNumber, &array, &count), -1);
    hooks.failAfter(0);
    EXPECT_EQ(KVXGetNewValueLengthArray(blob.cursor(), 0, &texts, &count), -1);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(texts, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(TextArrayReader, GivesAnEmptyElementAOneByteZeroString) {
    CountingHooks hooks;
    const GuardedBlob blob(assemble({textArray({"a", "", "cc"})}));
    KVXValueLength* texts = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(KVXGetNewValueLengthArray(blob.cursor(), 0, &texts, &count), 0);
    EXPECT_EQ(textsOf(texts, count), "a||cc");
    EXPECT_EQ(hooks.live(), 4U); // the array and one buffer for each
    EXPECT_EQ(KVXFreeValueLengths(&texts, static_cast<int16_t>(count)), 0);
    EXPECT_EQ(texts, nullptr);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(TextArrayReader, LeavesAPartlyFilledArrayWhenAnElementFails) {
    CountingHooks hooks;
    const Bytes array = rawBlob(2, {13, 14, 99}, bytesOf("a"));
    const GuardedBlob blob(assemble({array}));
    KVXValueLength* texts = nullptr;
    uint16_t count = 0;
    EXPECT_EQ(KVXGetNewValueLengthArray(blob.cursor(), 0, &texts, &count), -1);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(textOf(&texts[0]), "a");
    EXPECT_EQ(texts[1].data, nullptr);
    KVXFreeValueLengths(&texts, 2);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(ArrayWriter, WritesANestedBlobAndLeavesTheStartOffsetAlone) {
    const Number numbers[] = {{5}, {6}};
    const Bytes array = assemble({numberBlob(5), numberBlob(6)});
    const auto arrayBytes = static_cast<uint32_t>(array.size());
    Bytes buffer(9 + arrayBytes, 0xCC);
    buffer[0] = 1;
    KVXBlob blob{buffer.data(), 1, 9};
    ASSERT_EQ(KVXWriteArrayToBlob(2, 0, sizeof(Number), numbers, &writeNumber, &blob), 0);
    EXPECT_EQ(blob.length, 9 + arrayBytes);
    EXPECT_EQ(hexDump(buffer), hexDump(rawBlob(1, {0xCCCCCCCC, 9 + arrayBytes}, array)));
    EXPECT_EQ(KVXGetArrayBlobSize(numbers, sizeof(Number), 2, &measureNumber), arrayBytes);
}

TEST(TextArrayWriter, WritesANestedBlobAndLeavesTheStartOffsetAlone) {
    Text first("a");
    Text third("cc");
    const KVXValueLength texts[] = {*first.get(), {nullptr, 0}, *third.get()};
    const Bytes array = textArray({"a", "", "cc"});
    const auto arrayBytes = static_cast<uint32_t>(array.size());
    Bytes buffer(9 + arrayBytes, 0xCC);
    buffer[0] = 1;
    KVXBlob blob{buffer.data(), 1, 9};
    ASSERT_EQ(KVXWriteValueLengthArrayToBlob(3, 0, texts, &blob), 0);
    EXPECT_EQ(hexDump(buffer), hexDump(rawBlob(1, {0xCCCCCCCC, 9 + arrayBytes}, array)));
    EXPECT_EQ(KVXGetValueLengthArrayBlobSize(texts, 3), arrayBytes);
}

TEST(ArrayWriters, WriteNoElementsAsAnEmptyField) {
    for (const int16_t count : {int16_t{0}, int16_t{-1}, int16_t{-32768}}) {
        SCOPED_TRACE(count);
        Bytes records(9, 0xCC);
        Bytes texts(9, 0xCC);
        records[0] = texts[0] = 1;
        KVXBlob recordBlob{records.data(), 1, 9};
        KVXBlob textBlob{texts.data(), 1, 9};
        EXPECT_EQ(KVXWriteArrayToBlob(count, 0, sizeof(Number), nullptr, &writeNumber, &recordBlob), 0);
        EXPECT_EQ(KVXWriteValueLengthArrayToBlob(count, 0, nullptr, &textBlob), 0);
        EXPECT_EQ(hexDump(records), hexDump(rawBlob(1, {9, 9}, {})));
        EXPECT_EQ(hexDump(texts), hexDump(rawBlob(1, {9, 9}, {})));
        EXPECT_EQ(KVXGetArrayBlobSize(nullptr, sizeof(Number), count, &measureNumber), 0U);
        EXPECT_EQ(KVXGetValueLengthArrayBlobSize(nullptr, count), 0U);
    }
}

TEST(ArrayWriter, StopsAtAnElementThatCannotBeWritten) {
    const Number numbers[] = {{5}, {6}};
    Bytes buffer(64, 0xCC);
    KVXBlob blob{buffer.data(), 1, 9};
    EXPECT_EQ(KVXWriteArrayToBlob(
                  2, 0, sizeof(Number), numbers, [](const void*, KVXBlob*) -> int32_t { return -1; }, &blob),
              -1);
    EXPECT_EQ(blob.length, 9U);
}

TEST(ArrayWriters, Write255Elements) {
    CountingHooks hooks;
    std::vector<Number> numbers(255);
    std::vector<KVXValueLength> texts(255);
    Text text("t");
    Fields numberFields;
    Fields textFields;
    for (uint16_t i = 0; i < 255; ++i) {
        numbers[i].value = static_cast<uint16_t>(i * 7);
        numberFields.push_back(numberBlob(numbers[i].value));
        texts[i] = *text.get();
        textFields.push_back(bytesOf("t"));
    }
    const Bytes expected = assemble({{}, assemble(numberFields), assemble(textFields)});
    const uint32_t numbersBytes = KVXGetArrayBlobSize(numbers.data(), sizeof(Number), 255, &measureNumber);
    const uint32_t textsBytes = KVXGetValueLengthArrayBlobSize(texts.data(), 255);
    EXPECT_EQ(numbersBytes, 4 * 255 + 5 + 255 * kNumberBlobBytes);
    EXPECT_EQ(textsBytes, 4U * 255 + 5 + 255);
    const GuardedBytes buffer(Bytes(17 + numbersBytes + textsBytes, 0xCC));
    buffer.data()[0] = 3;
    KVXBlob blob{buffer.data(), 3, 17};
    KVXWriteEmptyBlob(&blob, 0);
    ASSERT_EQ(KVXWriteArrayToBlob(255, 1, sizeof(Number), numbers.data(), &writeNumber, &blob), 0);
    ASSERT_EQ(KVXWriteValueLengthArrayToBlob(255, 2, texts.data(), &blob), 0);
    EXPECT_EQ(hexDump(Bytes(buffer.data(), buffer.data() + blob.length)), hexDump(expected));

    void* array = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(KVXGetNewArray(&blob, 1, sizeof(Number), &loadNumber, &array, &count), 0);
    EXPECT_EQ(count, 255);
    EXPECT_EQ(static_cast<Number*>(array)[254].value, 254 * 7);
    KVXFree(array);
    KVXValueLength* loaded = nullptr;
    ASSERT_EQ(KVXGetNewValueLengthArray(&blob, 2, &loaded, &count), 0);
    EXPECT_EQ(count, 255);
    EXPECT_EQ(textOf(&loaded[254]), "t");
    KVXFreeValueLengths(&loaded, 255);
    EXPECT_EQ(hooks.live(), 0U);
}

TEST(ArrayWriters, WriteACountOf256AsNoElementsWhileTheSizesCountAll) {
    const std::vector<Number> numbers(256);
    const std::vector<KVXValueLength> texts(256);
    const uint32_t numbersBytes = KVXGetArrayBlobSize(numbers.data(), sizeof(Number), 256, &measureNumber);
    const uint32_t textsBytes = KVXGetValueLengthArrayBlobSize(texts.data(), 256);
    EXPECT_EQ(numbersBytes, 4 * 256 + 5 + 256 * kNumberBlobBytes);
    EXPECT_EQ(textsBytes, 4U * 256 + 5);
    // Count byte 0 and a position after a header for none; its one offset is left as the buffer holds it.
    const Bytes expected = rawBlob(2, {0xCCCCCCCC, 18, 23}, fromHex("00 cc cc cc cc 00 cc cc cc cc"));
    Bytes buffer(13 + numbersBytes + textsBytes, 0xCC);
    buffer[0] = 2;
    KVXBlob blob{buffer.data(), 2, 13};
    ASSERT_EQ(KVXWriteArrayToBlob(256, 0, sizeof(Number), numbers.data(), &writeNumber, &blob), 0);
    ASSERT_EQ(KVXWriteValueLengthArrayToBlob(256, 1, texts.data(), &blob), 0);
    EXPECT_EQ(hexDump(Bytes(buffer.begin(), buffer.begin() + blob.length)), hexDump(expected));
}

TEST(ArrayWriters, Write257ElementsAsOne) {
    std::vector<Number> numbers(257);
    numbers[0].value = 9;
    Bytes buffer(9 + KVXGetArrayBlobSize(numbers.data(), sizeof(Number), 257, &measureNumber), 0xCC);
    buffer[0] = 1;
    KVXBlob blob{buffer.data(), 1, 9};
    ASSERT_EQ(KVXWriteArrayToBlob(257, 0, sizeof(Number), numbers.data(), &writeNumber, &blob), 0);
    const Bytes array = assemble({numberBlob(9)});
    EXPECT_EQ(blob.length, 9 + array.size());
    EXPECT_EQ(hexDump(Bytes(buffer.begin() + 9, buffer.begin() + blob.length)), hexDump(array));
}

TEST(FreeingTexts, FreesNoElementForACountBelowOneAndStillTheArray) {
    for (const int16_t count : {int16_t{0}, int16_t{-5}}) {
        CountingHooks hooks;
        const GuardedBlob blob(assemble({textArray({"a", "b"})}));
        KVXValueLength* texts = nullptr;
        uint16_t loaded = 0;
        ASSERT_EQ(KVXGetNewValueLengthArray(blob.cursor(), 0, &texts, &loaded), 0);
        EXPECT_EQ(KVXFreeValueLengths(&texts, count), 0);
        EXPECT_EQ(texts, nullptr);
        EXPECT_EQ(hooks.live(), 2U);
    }
    KVXValueLength* none = nullptr;
    EXPECT_EQ(KVXFreeValueLengths(nullptr, 1), 0);
    EXPECT_EQ(KVXFreeValueLengths(&none, 1), 0);
}

} // namespace
} // namespace kvxtest
