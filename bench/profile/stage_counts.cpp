// SPDX-License-Identifier: Apache-2.0
// Instructions of a fixed session, for valgrind to count function by function: 30 s of generated music, 44.1 kHz
// stereo, on the lanes that every processor has, a request from it, and an answer read. scripts/profile runs it.
#include "fingerprint/engine/lanes.h"
#include "recording.h"
#include "support/answers.h"

#include <cstdio>

namespace {

constexpr int32_t kEnglish = 0x656e;
constexpr size_t kTracks = 200;
constexpr int kInterpolatedRateHz = 48000;

kvxtest::Bytes answer() {
    std::vector<kvxtest::Bytes> records;
    for (size_t i = 0; i < kTracks; ++i)
        records.push_back(kvxtest::record('T', kvxtest::trackBlob("id" + std::to_string(i), "Title", {"Artist"})));
    return kvxtest::joined(records);
}

} // namespace

// What is counted is in functions of its own, with C names, so that valgrind can find them.
extern "C" {

__attribute__((noinline)) bool countedSession(KVXHandle* handle) {
    KVXNewFingerprint3(handle, bench::kChannels, bench::kRateHz, bench::kDurationMs);
    return kvxtest::feedAll(handle, bench::recording(), bench::kBlockBytes) == 0;
}

// At the commonest rate whose samples are interpolated.
__attribute__((noinline)) bool countedInterpolation(KVXHandle* handle) {
    KVXNewFingerprint3(handle, bench::kChannels, kInterpolatedRateHz, bench::kDurationMs);
    return kvxtest::feedAll(handle, bench::recording(kInterpolatedRateHz), bench::kBlockBytes) == 0;
}

__attribute__((noinline)) bool countedRequest(KVXHandle* handle) {
    uint8_t* packet = nullptr;
    uint32_t length = 0;
    const KVXFingerprintDescriptor descriptor{};
    const int32_t status =
        KVXGenerateFingerprintRequest3(handle, nullptr, 0, &descriptor, 10, kEnglish, &packet, &length);
    KVXFreeFingerprintRequest3(&packet);
    return status == 0;
}

__attribute__((noinline)) bool countedAnswer(KVXHandle* handle, const kvxtest::Bytes& body) {
    int32_t count = 0;
    if (KVXParseServerResponse(handle, body.data(), static_cast<int32_t>(body.size()), &count) != 0) return false;
    for (int32_t i = 1; i <= count; ++i) {
        Track* track = nullptr;
        if (KVXGetTrack(handle, i, &track) != 0) return false;
        KVXFreeTrack(&track);
    }
    return count == static_cast<int32_t>(kTracks);
}

} // extern "C"

int main() {
    try {
        kvx::useLanes(&kvx::kBaselineLanes);
        const kvxtest::Handle handle = kvxtest::makeHandle();
        const kvxtest::Bytes body = answer();
        for (const int rateHz : {bench::kRateHz, kInterpolatedRateHz})
            bench::codeRecording(handle.get(), rateHz); // makes the input and the tables, which are not counted
        if (countedSession(handle.get()) && countedInterpolation(handle.get()) && countedRequest(handle.get()) &&
            countedAnswer(handle.get(), body))
            return 0;
        std::fprintf(stderr, "stage_counts: the library does not work\n");
    } catch (const std::exception& e) {
        std::fprintf(stderr, "stage_counts: %s\n", e.what());
    }
    return 1;
}
