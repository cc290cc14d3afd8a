// SPDX-License-Identifier: Apache-2.0
// The examples of docs/formats/catalogue.md are what this server stores and reads.
#include "catalogue/posting_list.h"
#include "catalogue/recording_packing.h"
#include "support/hex.h"
#include "support/page_examples.h"

#include <gtest/gtest.h>

#include <libdeflate.h>
#include <memory>
#include <string>

using namespace tarn::server;
using kvxtest::bytesOfDump;
using kvxtest::examplesOf;

namespace {

Recording example() {
    Recording recording;
    recording.durationMs = 200001;
    recording.tags = {"Low", "Ines", "", "", 7, 1999};
    recording.trackId = "T7";
    recording.albumId = "A1";
    recording.contentHash = "h";
    recording.path = "/a";
    recording.trackBlob = "\x01\x02\x03";
    recording.codes[0][0] = {"aab", {44, 52, 61}};
    recording.otherPaths = {"/b"};
    return recording;
}

std::string inflated(std::string_view stream, size_t size) {
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> engine(
        libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    std::string out(size, '\0');
    EXPECT_EQ(libdeflate_zlib_decompress(engine.get(), stream.data(), stream.size(), out.data(), out.size(), nullptr),
              LIBDEFLATE_SUCCESS);
    return out;
}

std::string dump(const std::string& bytes) { return kvxtest::hexDump(kvxtest::bytesOf(bytes)); }

} // namespace

TEST(CataloguePage, ItsRecordingIsStoredSo) {
    const std::string content = bytesOfDump(examplesOf("catalogue.md").at(0));
    ASSERT_LT(content.size(), 128U);
    const std::string stored = packRecording(example());
    EXPECT_EQ(dump(stored.substr(0, 2)), dump(std::string("\x03") + static_cast<char>(content.size())));
    EXPECT_EQ(dump(inflated(std::string_view(stored).substr(2), content.size())), dump(content));

    const std::optional<Recording> read = unpackRecording(stored);
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->tags.artist, "Ines");
    EXPECT_EQ(read->otherPaths, std::vector<std::string>{"/b"});
    EXPECT_EQ(read->codes[0][0].letters, "aab");
    EXPECT_EQ(read->codes[0][0].frames, (std::vector<uint32_t>{44, 52, 61}));
}

TEST(CataloguePage, ItsListIsReadSo) {
    const std::string list = bytesOfDump(examplesOf("catalogue.md").at(1));
    const std::string_view pieces[] = {list};
    std::vector<uint32_t> ids;
    EXPECT_TRUE(forEachId(pieces, [&](uint32_t id) { ids.push_back(id); }));
    EXPECT_EQ(ids, (std::vector<uint32_t>{5, 7, 307, 16909060}));
}
