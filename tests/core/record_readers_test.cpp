// SPDX-License-Identifier: Apache-2.0
// The functions that read a record of a parsed response.
#include "core/response_body.h"
#include "support/annotated_dump.h"
#include "support/counting_hooks.h"
#include "support/guarded_bytes.h"
#include "support/packet_assembler.h"

#include <gtest/gtest.h>

using namespace kvxtest::response_body;
using kvxtest::Bytes;
using kvxtest::GuardedBytes;
using kvxtest::hexDump;
using kvxtest::PacketAssembler;

namespace {

// The five readers in one shape: load record index and free it again.
struct Reader {
    char type;
    size_t fields; // of the record's blob
    int32_t (*read)(KVXHandle*, int32_t);
};

template <class Record, int32_t (*get)(KVXHandle*, int32_t, Record**), int32_t (*release)(Record**)>
int32_t readAndFree(KVXHandle* handle, int32_t index) {
    Record* record = nullptr;
    const int32_t status = get(handle, index, &record);
    EXPECT_EQ(record != nullptr, status == 0);
    EXPECT_EQ(release(&record), 0);
    EXPECT_EQ(record, nullptr);
    return status;
}

const Reader kReaders[] = {
    {'T', 23, &readAndFree<Track, KVXGetTrack, KVXFreeTrack>},
    {'K', 2, &readAndFree<TrackToAlbum, KVXGetTrackToAlbum, KVXFreeTrackToAlbum>},
    {'A', 33, &readAndFree<Album, KVXGetAlbum, KVXFreeAlbum>},
    {'D', 6, &readAndFree<DVD, KVXGetDVD, KVXFreeDVD>},
    {'P', 26, &readAndFree<Performer, KVXGetPerformer, KVXFreePerformer>},
};

Bytes emptyRecord(const Reader& reader) { return record(reader.type, blob(std::vector<std::string>(reader.fields))); }

} // namespace

TEST(RecordReaders, TellWhatIsWrongByTheirStatus) {
    for (const Reader& reader : kReaders) {
        SCOPED_TRACE(reader.type);
        const char other = reader.type == 'T' ? 'K' : 'T';
        const auto handle = kvxtest::makeHandle();
        const GuardedBytes body(joined({record(other, {0}), emptyRecord(reader), record(reader.type, {0, 1})}));
        EXPECT_EQ(reader.read(handle.get(), 1), -4); // nothing parsed yet
        ASSERT_EQ(parse(handle.get(), body), 3);
        EXPECT_EQ(reader.read(nullptr, 1), -1);
        EXPECT_EQ(reader.read(handle.get(), -1), -4);
        EXPECT_EQ(reader.read(handle.get(), 0), -4);
        EXPECT_EQ(reader.read(handle.get(), 1), -5);
        EXPECT_EQ(reader.read(handle.get(), 2), 0);
        EXPECT_EQ(reader.read(handle.get(), 3), -1); // the last record is valid to ask for, but malformed
        EXPECT_EQ(reader.read(handle.get(), 4), -4);
        EXPECT_EQ(reader.read(handle.get(), INT32_MAX), -4);
        EXPECT_EQ(reader.read(handle.get(), 2), 0); // and backwards again
        for (const uint8_t state : {uint8_t{0}, uint8_t{1}}) {
            handle->state = state;
            // Whatever else is wrong: the identity is asked for before the index and the type.
            for (const int32_t index : {2, 1, 0, -1, 4, INT32_MAX}) EXPECT_EQ(reader.read(handle.get(), index), -3);
        }
    }
}

TEST(RecordReaders, GiveBackWhatTheyTook) {
    for (const Reader& reader : kReaders) {
        SCOPED_TRACE(reader.type);
        const auto handle = kvxtest::makeHandle();
        const GuardedBytes body(emptyRecord(reader));
        ASSERT_EQ(parse(handle.get(), body), 1);
        const kvxtest::CountingHooks hooks;
        EXPECT_EQ(reader.read(handle.get(), 1), 0);
        EXPECT_GT(hooks.allocations(), 0);
        EXPECT_EQ(hooks.live(), 0U);
    }
}

TEST(RecordReaders, WalkAsManyRecordsAsAnAnswerHolds) {
    const auto handle = kvxtest::makeHandle();
    const Bytes one = emptyRecord(kReaders[3]);
    Bytes bytes;
    constexpr int32_t kRecords = 30000;
    for (int32_t i = 0; i < kRecords; ++i) bytes.insert(bytes.end(), one.begin(), one.end());
    const GuardedBytes body(bytes);
    ASSERT_EQ(parse(handle.get(), body), kRecords);
    for (int32_t i = 1; i <= kRecords; ++i) {
        ASSERT_EQ(KVXGetResponseType(handle.get(), i), 'D');
        ASSERT_EQ(kReaders[3].read(handle.get(), i), 0);
    }
}

TEST(RecordedAnswers, HoldATrackAndItsAlbum) {
    const auto handle = kvxtest::makeHandle();
    const GuardedBytes trackAnswer(kvxtest::golden("answer_track.bin"));
    EXPECT_EQ(hexDump(kvxtest::golden("answer_track.bin")), hexDump(kvxtest::dumpedBytes("answer_track.txt")));
    ASSERT_EQ(parse(handle.get(), trackAnswer), 1);
    Track* track = nullptr;
    ASSERT_EQ(KVXGetTrack(handle.get(), 1, &track), 0);
    EXPECT_STREQ(track->trackId->data, "T-2001");
    EXPECT_STREQ(track->title->data, "Low Tide");
    ASSERT_EQ(track->artistCount, 1);
    EXPECT_STREQ(track->artists[0].property->data, "The Paper Lanterns");
    KVXFreeTrack(&track);

    const GuardedBytes albumAnswer(kvxtest::golden("answer_album.bin"));
    EXPECT_EQ(hexDump(kvxtest::golden("answer_album.bin")), hexDump(kvxtest::dumpedBytes("answer_album.txt")));
    ASSERT_EQ(parse(handle.get(), albumAnswer), 1);
    Album* album = nullptr;
    ASSERT_EQ(KVXGetAlbum(handle.get(), 1, &album), 0);
    EXPECT_STREQ(album->title->data, "Walking on Thin Air");
    EXPECT_STREQ(album->artist->data, "The Paper Lanterns");
    EXPECT_EQ(album->confidence, 97);
    KVXFreeAlbum(&album);
}
