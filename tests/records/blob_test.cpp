// SPDX-License-Identifier: Apache-2.0
// Where the fields of a blob lie.
#include "record_support.h"
#include "support/blob_assembler.h"
#include "support/counting_hooks.h"

#include <algorithm>
#include <cstring>

namespace kvxtest {

namespace {

struct Located {
    int32_t status;
    const uint8_t* data;
    uint32_t length;
};

const uint8_t kUnset = 0;
constexpr uint32_t kUnsetLength = 77;

Located locate(const KVXBlob* blob, uint8_t index) {
    Located result{0, &kUnset, kUnsetLength};
    result.status = BlobGetData(blob, index, &result.data, &result.length);
    return result;
}

TEST(BlobCount, IsTheFirstByte) {
    const GuardedBlob blob(Bytes{200});
    EXPECT_EQ(BlobGetCount(blob.cursor()), 200U);
}

TEST(BlobCount, IsZeroWithoutCursorOrBytes) {
    uint8_t byte = 9;
    const KVXBlob empty{&byte, 0, 0};
    EXPECT_EQ(BlobGetCount(&empty), 0U);
    EXPECT_EQ(BlobGetCount(nullptr), 0U);
}

TEST(FieldLocation, GivesMinus41ForANullCursor) {
    const Located located = locate(nullptr, 0);
    EXPECT_EQ(located.status, -41);
    EXPECT_EQ(located.data, &kUnset);
    EXPECT_EQ(located.length, kUnsetLength);
}

TEST(FieldLocation, GivesMinus4ForABlobWithoutFields) {
    uint8_t byte = 9;
    const KVXBlob absent{&byte, 0, 0};
    EXPECT_EQ(locate(&absent, 0).status, -4);
    const GuardedBlob noFields(assemble({}));
    EXPECT_EQ(locate(noFields.cursor(), 0).status, -4);
    EXPECT_EQ(locate(noFields.cursor(), 0).data, &kUnset);
}

TEST(FieldLocation, FindsEveryField) {
    const Fields fields = {bytesOf("one"), {}, bytesOf("three")};
    const GuardedBlob blob(assemble(fields));
    for (uint8_t i = 0; i < 3; ++i) {
        const Located located = locate(blob.cursor(), i);
        ASSERT_EQ(located.status, 0);
        EXPECT_EQ(hexDump(Bytes(located.data, located.data + located.length)), hexDump(fields[i]));
    }
}

TEST(FieldLocation, AcceptsAnIndexEqualToTheCount) {
    // One field, "....": its bytes are also the word after the table, the end of field 1; field 1 starts at 13.
    const Bytes end17 = rawBlob(1, {9, 13}, bytesOf(std::string("\x11\0\0\0tail", 8)));
    const GuardedBlob blob(end17);
    const Located located = locate(blob.cursor(), 1);
    EXPECT_EQ(located.status, 0);
    EXPECT_EQ(std::string(located.data, located.data + located.length), "tail");

    const GuardedBlob beyond(rawBlob(1, {9, 13}, bytesOf(std::string("\x12\0\0\0tail", 8))));
    EXPECT_EQ(locate(beyond.cursor(), 1).status, -1);
    EXPECT_EQ(locate(blob.cursor(), 2).status, -4);
}

TEST(FieldLocation, AcceptsIndex255OfABlobOf255Fields) {
    Fields fields(255);
    fields[0] = intBytes(1024 + 5 - 4); // the end of field 255; its start, offset[255], is the same
    Bytes bytes = assemble(fields);
    ASSERT_EQ(bytes.size(), 1025U + 4);
    bytes[1025] = 0x05; // 0x0405 = 1029
    bytes[1026] = 0x04;
    const GuardedBlob blob(bytes);
    EXPECT_EQ(locate(blob.cursor(), 254).status, 0);
    const Located located = locate(blob.cursor(), 255);
    EXPECT_EQ(located.status, 0);
    EXPECT_EQ(located.length, 0U);
}

TEST(FieldLocation, HasNoBytesForTheIndexAfterAnEmptyLastWord) {
    // All fields empty: the word after the table, which index 1 needs, lies beyond the blob.
    const GuardedBlob blob(assemble({{}}));
    const Located located = locate(blob.cursor(), 1);
    EXPECT_EQ(located.status, -1);
    EXPECT_EQ(located.data, nullptr);
    EXPECT_EQ(located.length, 0U);
}

TEST(FieldLocation, SetsItsOutputsAlsoWhenTheFieldIsRefused) {
    const GuardedBlob blob(rawBlob(1, {9, 12}, bytesOf("ab")));
    const Located located = locate(blob.cursor(), 0);
    EXPECT_EQ(located.status, -1);
    EXPECT_EQ(located.data, blob.data() + 9);
    EXPECT_EQ(located.length, 3U);
}

TEST(FieldLocation, GivesTheBlobsEndForAFieldThatStartsBeyondIt) {
    for (const uint32_t start : {12U, 1000U, 0xffffffffU}) {
        SCOPED_TRACE(start);
        const GuardedBlob blob(rawBlob(1, {start, start + 1}, bytesOf("ab")));
        const Located located = locate(blob.cursor(), 0);
        EXPECT_EQ(located.status, -1);
        EXPECT_EQ(located.data, blob.data() + 11);
        EXPECT_EQ(located.length, 1U);
    }
}

TEST(FieldLocation, AcceptsNoTwoFieldsThatShareAByte) {
    // Three fields, with six bytes after the header of 17, from anywhere to anywhere.
    size_t accepted = 0;
    for (uint32_t a = 0; a <= 24; a += 4) {
        for (uint32_t b = 0; b <= 24; b += 4) {
            for (uint32_t c = 0; c <= 24; c += 4) {
                const GuardedBlob blob(rawBlob(3, {a, b, c, 23}, bytesOf("abcdef")));
                const bool isWhole = locate(blob.cursor(), 0).status == 0 && locate(blob.cursor(), 1).status == 0 &&
                                     locate(blob.cursor(), 2).status == 0;
                if (!isWhole) continue;
                ++accepted;
                EXPECT_TRUE(a <= b && b <= c && c <= 23) << a << ' ' << b << ' ' << c;
            }
        }
    }
    EXPECT_GT(accepted, 20U);
}

TEST(FieldLocation, RefusesWhatDoesNotLieInsideTheBlob) {
    struct Case {
        const char* name;
        uint32_t start;
        uint32_t end;
        int32_t status;
    };
    constexpr Case kCases[] = {
        {"whole rest", 9, 13, 0},
        {"over header and all", 0, 13, 0},
        {"one byte too long", 9, 14, -1},
        {"end before start", 12, 11, -1},
        {"start at the end, one byte", 13, 14, -1},
        {"start beyond, one byte", 14, 15, -1},
        {"start beyond, end inside", 14, 10, -1},
        {"empty at the end", 13, 13, 0},
        {"empty far beyond", 4000000000U, 4000000000U, 0},
        {"empty at the last offset", 0xFFFFFFFFU, 0xFFFFFFFFU, 0},
        {"longest", 0, 0xFFFFFFFFU, -1},
        {"wrapped to one byte", 0xFFFFFFFFU, 0, -1},
        {"wrapped beyond", 0xFFFFFFF0U, 10, -1},
        {"after the blob, short enough for what a wrapped remainder would allow", 4000000000U, 4000000010U, -1},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        const GuardedBlob blob(rawBlob(1, {c.start, c.end}, bytesOf("abcd")));
        const Located located = locate(blob.cursor(), 0);
        EXPECT_EQ(located.status, c.status);
        EXPECT_EQ(located.length, c.end - c.start);
        EXPECT_EQ(located.data - blob.data(), std::min<ptrdiff_t>(c.start, 13));
    }
}

TEST(FieldLocation, FailsWhereTheTableLiesBeyondTheBlob) {
    const Bytes whole = assemble({bytesOf("ab"), bytesOf("cd")});
    for (size_t length = 1; length < 13; ++length) {
        SCOPED_TRACE(length);
        const GuardedBlob blob({whole.data(), length});
        const Located located = locate(blob.cursor(), 1);
        EXPECT_EQ(located.status, -1);
        EXPECT_EQ(located.data, nullptr);
        EXPECT_EQ(located.length, 0U);
        EXPECT_EQ(locate(blob.cursor(), 3).status, -4);
    }
}

TEST(ExampleBlob, IsReadAndWrittenByThePrimitives) {
    CountingHooks hooks;
    const Bytes example = golden("blob_example.bin");
    EXPECT_EQ(hexDump(example), hexDump(assemble({bytesOf("ab"), shortBytes(0x1234), textArray({"x", ""}), {}})));
    const GuardedBlob blob(example);
    KVXValueLength* text = nullptr;
    KVXValueLength* none = nullptr;
    uint16_t number = 0;
    KVXValueLength* texts = nullptr;
    uint16_t count = 0;
    ASSERT_EQ(KVXGetNewMetaField(blob.cursor(), 0, &text), 0);
    ASSERT_EQ(KVXGetShortField(blob.cursor(), 1, &number), 0);
    ASSERT_EQ(KVXGetNewValueLengthArray(blob.cursor(), 2, &texts, &count), 0);
    ASSERT_EQ(KVXGetNewMetaField(blob.cursor(), 3, &none), 0);
    EXPECT_EQ(textOf(text), "ab");
    EXPECT_EQ(number, 0x1234);
    EXPECT_EQ(textsOf(texts, count), "x|");
    EXPECT_EQ(none, nullptr);

    Bytes buffer(example.size(), 0xCC);
    buffer[0] = 4;
    KVXBlob writing{buffer.data(), 4, 21};
    KVXWriteValueLengthToBlob(&writing, 0, text);
    KVXWriteShortToBlob(&writing, 1, &number);
    KVXWriteValueLengthArrayToBlob(2, 2, texts, &writing);
    KVXWriteEmptyBlob(&writing, 3);
    EXPECT_EQ(writing.length, example.size());
    EXPECT_EQ(hexDump(buffer), hexDump(example));
    KVXFreeValueLength(&text);
    KVXFreeValueLengths(&texts, 2);
    EXPECT_EQ(hooks.live(), 0U);
}

} // namespace
} // namespace kvxtest
