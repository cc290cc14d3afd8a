// SPDX-License-Identifier: Apache-2.0
// Every allocation of a session's calls fails in turn: the documented status, nothing left over, and a handle that then
// does the same work to the same bytes.
#include "core/answer_readers.h"
#include "core/counted_requests.h"
#include "support/answers.h"
#include "support/audio.h"
#include "support/counting_hooks.h"
#include "support/failing_memory.h"
#include "support/figures.h"
#include "support/handles.h"

#include <gtest/gtest.h>

namespace kvxtest {

using namespace counted_requests;

namespace {

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

} // namespace
} // namespace kvxtest
