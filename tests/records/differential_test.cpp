// SPDX-License-Identifier: Apache-2.0
// The library's codec against a second one that shares no code with it: random records of every type in both
// directions, damaged blobs, failing memory.
#include "golden_records.h"
#include "library_records.h"
#include "support/counting_hooks.h"
#include "support/figures.h"
#include "support/plain_codec.h"
#include "support/rounds.h"

#include <gtest/gtest.h>

namespace kvxtest {
namespace {

using plain::decode;
using plain::Decoded;
using plain::encode;
using plain::From;

const uint32_t kSeeds = rounds(25);
constexpr size_t kValues = 3500; // enough for 255 elements in one array, wherever it stands
const uint32_t kBlobsPerType = rounds(40);
constexpr uint32_t kDamagesPerBlob = 25;

// A record of its own for every type and seed.
plain::Record recordOf(const plain::RecordType& type, uint32_t seed, size_t valueLimit) {
    std::seed_seq seeds{seed, static_cast<uint32_t>(type.name[0]), static_cast<uint32_t>(type.name[1])};
    std::mt19937 random(seeds);
    return plain::randomRecord(type, random, valueLimit);
}

// Arrays of as many elements as there can be, at any depth.
size_t fullArrays(const plain::Record& record) {
    size_t found = 0;
    for (const plain::Value& value : record.fields) {
        const auto* texts = std::get_if<std::vector<std::string>>(&value);
        const auto* list = std::get_if<plain::List>(&value);
        const auto* part = std::get_if<plain::Part>(&value);
        if (texts != nullptr && texts->size() == 255) ++found;
        if (list != nullptr && list->elements.size() == 255) ++found;
        if (list != nullptr)
            for (const plain::Record& element : list->elements) found += fullArrays(element);
        if (part != nullptr)
            for (const plain::Record& nested : part->record) found += fullArrays(nested);
    }
    return found;
}

// Written by both: the same bytes. What the library's writer was given is freed but for every text18.
Bytes compareWriting(const LibraryRecord& library, const plain::Record& record) {
    const CountingHooks hooks;
    Bytes bytes = library.write(record);
    const Bytes expected = encode(record, From::kClient);
    if (bytes != expected) {
        EXPECT_EQ(hexDump(bytes), hexDump(expected));
    }
    EXPECT_EQ(hooks.live(), decode(*library.type, encode(record, From::kServer)).keptBlocks);
    EXPECT_EQ(hooks.strayFrees(), 0);
    return bytes;
}

TEST(BothCodecs, WriteTheSameBytesAndReadThemAlike) {
    size_t compared = 0;
    size_t full = 0;
    for (const LibraryRecord& library : libraryRecords()) {
        if (!library.write) continue;
        for (uint32_t seed = 0; seed < kSeeds; ++seed) {
            SCOPED_TRACE(std::string(library.type->name) + ", seed " + std::to_string(seed));
            const plain::Record record = recordOf(*library.type, seed, kValues);
            const Bytes bytes = compareWriting(library, record);
            if (HasFailure()) return;
            const Decoded decoded = decode(*library.type, bytes);
            ASSERT_TRUE(decoded.isWhole);
            ASSERT_EQ(plain::difference(decoded.record, plain::asSentByClient(record)), "");
            ++compared;
            full += fullArrays(record);
        }
    }
    recordFigure("records written by both", compared);
    recordFigure("arrays of 255 elements in them", full);
    EXPECT_EQ(compared, 14 * kSeeds);
    EXPECT_GT(full, compared / 10);
}

TEST(BothCodecs, ReadWhatAServerSends) {
    size_t compared = 0;
    for (const LibraryRecord& library : libraryRecords()) {
        for (uint32_t seed = 100000; seed < 100000 + kSeeds; ++seed) {
            SCOPED_TRACE(std::string(library.type->name) + ", seed " + std::to_string(seed));
            const plain::Record record = recordOf(*library.type, seed, kValues);
            const Bytes bytes = encode(record, From::kServer);
            const Decoded decoded = decode(*library.type, bytes);
            ASSERT_TRUE(decoded.isWhole);
            ASSERT_EQ(plain::difference(decoded.record, record), "");
            compareReadings(library, bytes);
            if (HasFailure()) return;
            ++compared;
        }
    }
    recordFigure("records read by both", compared);
    EXPECT_EQ(compared, 20 * kSeeds);
}

TEST(BothCodecs, AgreeOnEveryNumberOfFields) {
    size_t compared = 0;
    for (const LibraryRecord& library : libraryRecords()) {
        const plain::Record whole = recordOf(*library.type, 1, 100);
        for (size_t count = 0; count <= whole.fields.size() + 2; ++count) {
            SCOPED_TRACE(std::string(library.type->name) + ", fields " + std::to_string(count));
            plain::Record other = whole;
            other.fields.resize(count, plain::Value("more"));
            compareReadings(library, encode(other, From::kServer));
            if (HasFailure()) return;
            ++compared;
        }
    }
    recordFigure("numbers of fields compared", compared);
    EXPECT_GT(compared, 200U);
}

TEST(BothCodecs, AgreeOnArraysWithinArraysOf255) {
    plain::Record track = recordOf(plain::kTrack, 1, 0);
    plain::Record medium = recordOf(plain::kCDMedia, 1, 0);
    plain::Record album = recordOf(plain::kAlbum, 1, 0);
    const plain::List artists{{255, recordOf(plain::kValuePairYomi, 2, 0)}};
    track.fields[6] = artists;
    track.fields[21] = std::vector<std::string>(255, "text");
    std::get<plain::List>(medium.fields[0]).elements.assign(255, recordOf(plain::kTrack, 3, 0));
    std::get<plain::List>(medium.fields[0]).elements.back() = track;
    std::get<plain::List>(album.fields[15]).elements.assign(255, recordOf(plain::kCDMedia, 3, 0));
    std::get<plain::List>(album.fields[15]).elements.back() = medium;
    for (const LibraryRecord& library : libraryRecords()) {
        if (library.type != &plain::kAlbum) continue;
        compareReadings(library, compareWriting(library, album));
        compareReadings(library, encode(album, From::kServer));
    }
}

TEST(BothCodecs, WriteTheSameBareArraysOfPairs) {
    for (const size_t count : {size_t{0}, size_t{1}, size_t{2}, size_t{255}}) {
        SCOPED_TRACE(count);
        std::vector<plain::Record> pairs;
        Fields blobs;
        for (size_t i = 0; i < count; ++i) {
            pairs.push_back(recordOf(plain::kNumValuePair, static_cast<uint32_t>(i), 2));
            blobs.push_back(encode(pairs.back(), From::kClient));
        }
        Bytes expected = assemble(blobs);
        // With none, all but the first byte is as the buffer was.
        if (count == 0) std::fill(expected.begin() + 1, expected.end(), uint8_t{0xA5});
        const CountingHooks hooks;
        EXPECT_EQ(hexDump(libraryNumValuePairs(pairs, 0xA5)), hexDump(expected));
        EXPECT_EQ(hooks.live(), 0U);
    }
}

// Changes, cuts and lengthens; most of the changes hit the first bytes, where the tables are, or make a number that is
// only just wrong.
Bytes damaged(Bytes bytes, std::mt19937& random) {
    const auto below = [&](size_t limit) { return random() % limit; };
    for (size_t changes = 1 + below(3); changes != 0 && !bytes.empty(); --changes) {
        const size_t where = below(2) == 0 ? below(std::min<size_t>(bytes.size(), 160)) : below(bytes.size());
        switch (below(6)) {
        case 0:
            bytes[where] = static_cast<uint8_t>(random());
            break;
        case 1:
            bytes[where] = static_cast<uint8_t>(bytes[where] + 1);
            break;
        case 2:
            bytes[where] = static_cast<uint8_t>(bytes[where] - 1);
            break;
        case 3:
            bytes.resize(where);
            break;
        case 4:
            bytes.resize(bytes.size() + below(9), static_cast<uint8_t>(random()));
            break;
        default: // bytes from elsewhere, such as one offset for another
            for (size_t i = 0, from = below(bytes.size()); i < 4 && from + i < bytes.size(); ++i) {
                if (where + i < bytes.size()) bytes[where + i] = bytes[from + i];
            }
            break;
        }
    }
    return bytes;
}

TEST(BothCodecs, JudgeDamagedBlobsAlike) {
    size_t whole = 0;
    size_t refused = 0;
    for (const LibraryRecord& library : libraryRecords()) {
        for (uint32_t seed = 200000; seed < 200000 + kBlobsPerType; ++seed) {
            std::mt19937 random(seed);
            const Bytes good = encode(recordOf(*library.type, seed, 200), From::kServer);
            for (uint32_t i = 0; i < kDamagesPerBlob; ++i) {
                SCOPED_TRACE(std::string(library.type->name) + ", seed " + std::to_string(seed) + ", damage " +
                             std::to_string(i));
                const Bytes bytes = damaged(good, random);
                compareReadings(library, bytes);
                if (HasFailure()) return;
                ++(decode(*library.type, bytes).isWhole ? whole : refused);
            }
        }
    }
    recordFigure("damaged blobs that both read", whole);
    recordFigure("damaged blobs that both refuse", refused);
    EXPECT_EQ(whole + refused, 20 * kBlobsPerType * kDamagesPerBlob);
    EXPECT_GT(whole, refused / 10);
    EXPECT_GT(refused, whole / 10);
}

} // namespace
} // namespace kvxtest
