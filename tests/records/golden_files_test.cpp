// SPDX-License-Identifier: Apache-2.0
// The golden files: the same bytes as assembled here, as their annotated dumps say, and as the library writes.
#include "golden_records.h"
#include "record_support.h"
#include "support/counting_hooks.h"

#include <algorithm>
#include <sstream>

namespace kvxtest {
namespace {

std::string textFile(const std::string& name) {
    const Bytes file = golden(name);
    return {file.begin(), file.end()};
}

// The bytes of an annotated dump: lines of offset, two spaces, bytes, two or more spaces, meaning; '#' starts a
// comment.
Bytes bytesOfDump(const std::string& dump) {
    std::istringstream lines(dump);
    Bytes bytes;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#') continue;
        EXPECT_EQ(std::stoul(line.substr(0, 4), nullptr, 16), bytes.size()) << line;
        const std::string rest = line.substr(6);
        const Bytes piece = fromHex(rest.substr(0, rest.find("  ")));
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    return bytes;
}

// What stands between the first two fences of a page of docs/formats.
std::string exampleOfPage(const std::string& page) {
    const std::string text = textFile("../../docs/formats/" + page);
    const size_t begin = text.find("```\n") + 4;
    return text.substr(begin, text.find("```", begin) - begin);
}

TEST(GoldenRecord, HasTheAssembledBytes) {
    for (const GoldenRecord& record : goldenRecords()) {
        SCOPED_TRACE(record.name);
        EXPECT_EQ(hexDump(golden("record_" + record.name + ".bin")), hexDump(record.blob));
    }
}

TEST(GoldenRecord, HasTheBytesOfItsDump) {
    for (const GoldenRecord& record : goldenRecords()) {
        SCOPED_TRACE(record.name);
        EXPECT_EQ(hexDump(bytesOfDump(textFile("record_" + record.name + ".txt"))), hexDump(record.blob));
    }
}

TEST(GoldenBlob, HasTheBytesOfItsDump) {
    for (const std::string name : {"blob_example", "blob_NumValuePairs"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(hexDump(bytesOfDump(textFile(name + ".txt"))), hexDump(golden(name + ".bin")));
    }
}

TEST(DocumentedExample, HasTheBytesOfItsGoldenFile) {
    EXPECT_EQ(hexDump(bytesOfDump(exampleOfPage("blob.md"))), hexDump(golden("blob_example.bin")));
    EXPECT_EQ(hexDump(bytesOfDump(exampleOfPage("records.md"))), hexDump(golden("record_Release.bin")));
}

TEST(GoldenRecord, IsWrittenAgainAsItWasLoaded) {
    for (const GoldenRecord& record : goldenRecords()) {
        if (!record.table->isWritable() || record.name.ends_with("FromServer")) continue;
        SCOPED_TRACE(record.name);
        CountingHooks hooks;
        AnyRecord loaded(*record.table);
        const GuardedBlob blob(record.blob);
        ASSERT_EQ(loaded.load(blob.cursor()), 0);
        EXPECT_EQ(hexDump(written(*record.table, loaded.get())), hexDump(record.blob));
        loaded.freeContents();
        EXPECT_EQ(hooks.live(), 0U);
        EXPECT_EQ(hooks.strayFrees(), 0);
    }
}

TEST(GoldenRecord, CoversEveryTable) {
    const auto records = goldenRecords();
    for (const kvx::RecordTable* table : kvx::kAllRecords) {
        EXPECT_TRUE(std::ranges::any_of(records, [&](const GoldenRecord& record) { return record.table == table; }))
            << table->name;
    }
}

} // namespace
} // namespace kvxtest
