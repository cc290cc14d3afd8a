// SPDX-License-Identifier: Apache-2.0
// Every allocation of the handle's calls fails in turn: the documented status, nothing left over, and a handle that
// then does the same work to the same bytes.
#include "core/answer_readers.h"
#include "support/answers.h"
#include "support/audio.h"
#include "support/counting_hooks.h"
#include "support/failing_memory.h"
#include "support/figures.h"
#include "support/handles.h"

#include <gtest/gtest.h>
#include <span>

namespace kvxtest {
namespace {

constexpr int32_t kBlockBytes = 1024; // what a client feeds at a time
constexpr int32_t kDurationMs = 6100;
constexpr uint32_t kUntouched = 77;

void recordPoints(const std::string& what, long points) {
    recordFigure("failure points of " + what, static_cast<size_t>(points));
}

// A handle from the counter's memory; the host's copy goes back to the system, past the hooks.
Handle countedHandle(CountingHooks& hooks, const HandleOptions& options = {}) {
    Handle handle = makeHandle(options);
    hooks.forget(handle->hostName);
    return handle;
}

// A request of any kind: its status, and its bytes where there are any.
struct Request {
    int32_t status = 0;
    Bytes bytes;
};

template <class Generate>
Request request(Generate generate, int32_t (*release)(uint8_t**)) {
    uint8_t* buffer = nullptr;
    uint32_t length = kUntouched;
    Request made{generate(&buffer, &length), {}};
    if (made.status == 0) made.bytes.assign(buffer, buffer + length);
    EXPECT_EQ(buffer == nullptr, made.status != 0);
    EXPECT_EQ(length == kUntouched, made.status != 0);
    release(&buffer);
    return made;
}

Request fingerprintRequest(KVXHandle* handle) {
    static char text[] = "value";
    static KVXValueLength value{text, 5};
    const NumValuePair pairs[] = {{1, &value}, {2, nullptr}};
    KVXFingerprintDescriptor descriptor{};
    descriptor.text1 = "file.wav";
    return request(
        [&](uint8_t** buffer, uint32_t* length) {
            return KVXGenerateFingerprintRequest3(handle, pairs, 2, &descriptor, 10, 0x656E, buffer, length);
        },
        KVXFreeFingerprintRequest3);
}

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

struct PcmFormat {
    int channels;
    int32_t rateHz;
    long blocksPerCall; // of memory: the work buffer, and one to resample into
};
constexpr PcmFormat kFormats[] = {{1, 22050, 1}, {2, 22050, 1}, {1, 44100, 2}, {2, 44100, 2}};

int32_t open(KVXHandle* handle, const PcmFormat& format) {
    return KVXNewFingerprint3(handle, format.channels, format.rateHz, kDurationMs);
}

Bytes pcmOf(const PcmFormat& format) {
    Bytes pcm = audioBytes(Audio::kMusic, format.channels, format.rateHz, 0, kDurationMs);
    pcm.resize(pcm.size() / kBlockBytes * kBlockBytes);
    return pcm;
}

// A session from its opening to its request.
Request wholeSession(KVXHandle* handle, const PcmFormat& format, const Bytes& pcm) {
    EXPECT_EQ(open(handle, format), 0);
    int32_t status = KVX_MORE_AUDIO_WANTED;
    for (size_t at = 0; at < pcm.size() && status == KVX_MORE_AUDIO_WANTED; at += kBlockBytes) {
        status = KVXGenerateFingerprint3(handle, pcm.data() + at, kBlockBytes);
    }
    EXPECT_EQ(status, 0);
    return fingerprintRequest(handle);
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

TEST(AllocationFailure, InANewSessionEndsTheOneBeforeAndLeavesNone) {
    const PcmFormat format = kFormats[0];
    const Bytes pcm = pcmOf(format);
    CountingHooks hooks;
    const Handle handle = countedHandle(hooks);
    const size_t withoutSession = hooks.live();
    const Bytes whole = wholeSession(handle.get(), format, pcm).bytes;
    const size_t withSession = hooks.live();
    const long points = failEachAllocation(
        hooks, [&] { return open(handle.get(), format); },
        [&](int32_t status) {
            EXPECT_EQ(status, -1);
            EXPECT_EQ(hooks.live(), withoutSession);
            EXPECT_EQ(KVXGenerateFingerprint3(handle.get(), pcm.data(), kBlockBytes), -1);
            EXPECT_EQ(fingerprintRequest(handle.get()).status, -1);
            EXPECT_EQ(hexDump(wholeSession(handle.get(), format, pcm).bytes), hexDump(whole));
            EXPECT_EQ(hooks.live(), withSession);
        });
    EXPECT_EQ(points, 9); // three maps, each with two texts
    EXPECT_EQ(hooks.strayFrees(), 0);
    recordPoints("KVXNewFingerprint3", points);
}

// The client of a failed call may feed the same audio again: nothing of it was taken in.
TEST(AllocationFailure, InFeedingTakesNothingIn) {
    long points = 0;
    for (const PcmFormat& format : kFormats) {
        SCOPED_TRACE(std::to_string(format.channels) + " channels, " + std::to_string(format.rateHz) + " Hz");
        const Bytes pcm = pcmOf(format);
        CountingHooks hooks;
        const Handle handle = countedHandle(hooks);
        const Bytes whole = wholeSession(handle.get(), format, pcm).bytes;
        ASSERT_EQ(open(handle.get(), format), 0);
        const size_t before = hooks.live();
        int32_t status = KVX_MORE_AUDIO_WANTED;
        for (size_t at = 0; at < pcm.size() && status == KVX_MORE_AUDIO_WANTED; at += kBlockBytes) {
            for (long failing = 0; failing < format.blocksPerCall; ++failing, ++points) {
                hooks.failAfter(failing);
                ASSERT_EQ(KVXGenerateFingerprint3(handle.get(), pcm.data() + at, kBlockBytes), -1);
                ASSERT_TRUE(hooks.hasFailed());
                ASSERT_EQ(hooks.live(), before);
            }
            hooks.failAfter(format.blocksPerCall); // one more than a call needs
            status = KVXGenerateFingerprint3(handle.get(), pcm.data() + at, kBlockBytes);
            ASSERT_FALSE(hooks.hasFailed());
            hooks.failAfter(CountingHooks::kNever);
        }
        ASSERT_EQ(status, 0);
        EXPECT_EQ(hexDump(fingerprintRequest(handle.get()).bytes), hexDump(whole));
        EXPECT_EQ(hooks.strayFrees(), 0);
    }
    EXPECT_GT(points, 1000);
    recordPoints("feeding four recordings", points);
}

TEST(AllocationFailure, InPreparedSamplesDoesNotOccur) {
    const PcmFormat format = kFormats[0];
    const std::vector<int16_t> samples = audioSamples(Audio::kMusic, 1, format.rateHz, 0, kDurationMs);
    CountingHooks hooks;
    const Handle handle = countedHandle(hooks);
    ASSERT_EQ(open(handle.get(), format), 0);
    const long before = hooks.allocations();
    EXPECT_EQ(KVXGenerateFingerprint3_Real(handle.get(), samples.data(), static_cast<int32_t>(samples.size())), 0);
    EXPECT_EQ(hooks.allocations(), before);
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
