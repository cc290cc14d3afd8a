// SPDX-License-Identifier: Apache-2.0
// Every allocation of the handle's calls fails in turn: the documented status, nothing left over, and a handle that
// then does the same work to the same bytes.
#include "core/answer_readers.h"
#include "core/counted_requests.h"
#include "support/answers.h"
#include "support/counting_hooks.h"
#include "support/failing_memory.h"
#include "support/figures.h"
#include "support/handles.h"

#include <gtest/gtest.h>

namespace kvxtest {

using namespace counted_requests;

namespace {

Request idRequest(KVXHandle* handle) {
    const Bytes id = bytesOf("an id");
    return request(
        [&](uint8_t** buffer, uint32_t* length) {
            return KVXGenerateIDRequest(handle, id.data(), static_cast<uint32_t>(id.size()), buffer, length);
        },
        KVXFreeIDRequest);
}

Request metaIdRequest(KVXHandle* handle) {
    char id[] = "id";
    const KVXValueLength ids[] = {{id, 2}, {id, 1}};
    return request(
        [&](uint8_t** buffer, uint32_t* length) {
            return KVXGenerateMetaIDRequest(handle, 'A', ids, 2, 1, 0x656E, buffer, length);
        },
        KVXFreeMetaIDRequest);
}

TEST(AllocationFailure, InInitGivesMinusOneAndLeavesNothing) {
    CountingHooks hooks;
    const std::string code = accessCode(3, 3);
    KVXHandle* handle = nullptr;
    const long points = failEachAllocation(
        hooks, [&] { return KVXInit(&handle, code.c_str(), nullptr, 0, nullptr, 0, 'B', 'B', 'S', "host", 4); },
        [&](int32_t status) {
            EXPECT_EQ(status, -1);
            EXPECT_EQ(handle, nullptr);
            EXPECT_EQ(hooks.live(), 0U);
        });
    EXPECT_EQ(points, 4); // handle, host copy, cipher, digest
    ASSERT_NE(handle, nullptr);
    hooks.forget(handle->hostName);
    const Bytes made = idRequest(handle).bytes;
    KVXShutdown(&handle);
    EXPECT_EQ(hooks.live(), 0U);
    EXPECT_EQ(hooks.strayFrees(), 0);
    // And that handle is like one that was made while nothing failed.
    ASSERT_EQ(KVXInit(&handle, code.c_str(), nullptr, 0, nullptr, 0, 'B', 'B', 'S', "host", 4), 0);
    hooks.forget(handle->hostName);
    EXPECT_EQ(hexDump(made), hexDump(idRequest(handle).bytes));
    KVXShutdown(&handle);
    recordPoints("KVXInit", points);
}

TEST(AllocationFailure, InRequestsGivesMinusOneAndLeavesNothing) {
    struct Case {
        const char* name;
        Request (*make)(KVXHandle*);
        long points;
    };
    const Case cases[] = {
        {"KVXGenerateFingerprintRequest3", fingerprintRequest, 2}, // the packet, the fingerprint block
        {"KVXGenerateIDRequest", idRequest, 1},
        {"KVXGenerateMetaIDRequest", metaIdRequest, 1},
    };
    const PcmFormat format = kFormats[0];
    const Bytes pcm = pcmOf(format);
    for (const int32_t framing : {int32_t{'B'}, int32_t{'H'}}) {
        CountingHooks hooks;
        const Handle handle = countedHandle(hooks, {.requestFraming = framing});
        wholeSession(handle.get(), format, pcm);
        for (const Case& c : cases) {
            SCOPED_TRACE(c.name);
            const Request whole = c.make(handle.get());
            const size_t before = hooks.live();
            Request last;
            const long points = failEachAllocation(
                hooks,
                [&] {
                    last = c.make(handle.get());
                    return last.status;
                },
                [&](int32_t status) {
                    EXPECT_EQ(status, -1);
                    EXPECT_EQ(hooks.live(), before);
                    EXPECT_EQ(hexDump(c.make(handle.get()).bytes), hexDump(whole.bytes));
                });
            EXPECT_EQ(hexDump(last.bytes), hexDump(whole.bytes));
            EXPECT_EQ(points, c.points);
            EXPECT_EQ(hooks.live(), before);
            EXPECT_EQ(hooks.strayFrees(), 0);
            recordPoints(c.name + std::string(framing == 'H' ? ", in HTTP" : ""), points);
        }
    }
}

TEST(AllocationFailure, InParsingDoesNotOccur) {
    const Bytes body = joined({record('T', golden("record_Track.bin")), notFound()});
    CountingHooks hooks;
    const Handle handle = countedHandle(hooks);
    const long before = hooks.allocations();
    int32_t count = 0;
    EXPECT_EQ(KVXParseServerResponse(handle.get(), body.data(), static_cast<int32_t>(body.size()), &count), 0);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(KVXGetResponseType(handle.get(), 2), 'N');
    uint8_t id[KVX_ID_LENGTH];
    EXPECT_EQ(KVXGetID(handle.get(), id), 0);
    EXPECT_EQ(hooks.allocations(), before);
}

// On whole records, as the server sends them.
TEST(AllocationFailure, InReadersEndsThemLikeThePlainCodec) {
    struct Case {
        char type;
        const char* file;
    };
    for (const Case& c :
         {Case{'T', "record_TrackFromServer.bin"}, Case{'K', "record_TrackToAlbum.bin"},
          Case{'A', "record_AlbumFromServer.bin"}, Case{'D', "record_DVD.bin"}, Case{'P', "record_Performer.bin"}}) {
        const AnswerReader& reader = kAnswerReaders.at(c.type);
        SCOPED_TRACE(reader.name);
        const Bytes blob = golden(c.file);
        const Bytes body = joined({notFound(), record(c.type, blob)});
        const plain::Decoded whole = plain::decodeNew(*reader.type, blob);
        ASSERT_TRUE(whole.isWhole);
        CountingHooks hooks;
        const Handle handle = countedHandle(hooks);
        int32_t count = 0;
        ASSERT_EQ(KVXParseServerResponse(handle.get(), body.data(), static_cast<int32_t>(body.size()), &count), 0);
        long failing = 0;
        for (;; ++failing) {
            SCOPED_TRACE("allocation " + std::to_string(failing));
            const size_t before = hooks.live();
            hooks.failAfter(failing);
            const Loaded loaded = reader.read(handle.get(), 2);
            if (!hooks.hasFailed()) break;
            hooks.failAfter(CountingHooks::kNever);
            const plain::Decoded expected = plain::decodeNew(*reader.type, blob, failing);
            EXPECT_EQ(loaded.status, expected.isWhole ? 0 : -1);
            if (loaded.record) {
                EXPECT_EQ(plain::difference(*loaded.record, expected.record), "");
            }
            EXPECT_EQ(hooks.live() - before, expected.keptBlocks);
            // The same record again, while nothing fails.
            const Loaded again = reader.read(handle.get(), 2);
            ASSERT_EQ(again.status, 0);
            EXPECT_EQ(plain::difference(*again.record, whole.record), "");
            EXPECT_EQ(hooks.live() - before, expected.keptBlocks + whole.keptBlocks);
        }
        EXPECT_EQ(failing, whole.allocations);
        EXPECT_EQ(hooks.strayFrees(), 0);
        recordPoints(reader.name, failing);
    }
}

TEST(AllocationFailure, InSetIdGivesMinusOneAndKeepsTheState) {
    CountingHooks hooks;
    const Handle handle = countedHandle(hooks, {.deviceId = ""});
    const Bytes body = record('G', assemble({bytesOf("0123456789abcdef")}));
    int32_t count = 0;
    ASSERT_EQ(KVXParseServerResponse(handle.get(), body.data(), static_cast<int32_t>(body.size()), &count), 0);
    const size_t before = hooks.live();
    const long points = failEachAllocation(
        hooks, [&] { return KVXSetID(handle.get()); },
        [&](int32_t status) {
            EXPECT_EQ(status, -1);
            EXPECT_EQ(handle->state, 1);
            EXPECT_EQ(hooks.live(), before);
        });
    EXPECT_EQ(points, 2); // the object, its bytes
    EXPECT_EQ(handle->state, 2);
    EXPECT_EQ(hooks.live(), before);
    recordPoints("KVXSetID", points);
}

} // namespace
} // namespace kvxtest
