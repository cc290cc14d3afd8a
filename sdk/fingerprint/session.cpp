// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/session.h"

#include "core/handle.h"
#include "fingerprint/audio.h"
#include "fingerprint/engine/feature_map.h"
#include "fingerprint/engine/lanes.h"
#include "util/owned.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int32_t kTooShortMs = 6005;
constexpr int32_t kLowestRateHz = 11025;
constexpr int32_t kLongTrackMs = 74005;
constexpr int32_t kLongTrackStartMs = 44000;
constexpr int32_t kUncodedMs = 50;
constexpr int32_t kMaxCodedMs = 30000;
constexpr int32_t kFinished = 0;

bool hasMaps(const KVXHandle& handle) {
    return std::none_of(std::begin(handle.featureMaps), std::end(handle.featureMaps),
                        [](const FeatureMap* map) { return map == nullptr; });
}

constexpr int32_t kGroupSamples = kvx::WaitingSamples::kGroup;

// Gives a map the waiting samples up to `end` that it has not got yet.
void giveTo(const KVXHandle& handle, size_t map, int32_t end) {
    int32_t& taken = handle.waiting.taken[map];
    if (taken >= end) return;
    fmap_add_data(handle.featureMaps[map], handle.waiting.samples + taken, end - taken);
    taken = end;
}

void giveAll(const KVXHandle& handle) {
    for (size_t k = 0; k < kvx::kMapCount; ++k) giveTo(handle, k, handle.waiting.count);
}

// To each map a group of frames, which begins with the sample that is the map's offset after the first.
void giveGroups(KVXHandle& handle) {
    kvx::WaitingSamples& waiting = handle.waiting;
    for (size_t k = 0; k < kvx::kMapCount; ++k) {
        giveTo(handle, k, kGroupSamples + static_cast<int32_t>(kvx::FEATURE_MAP_OFFSETS[k]));
        waiting.taken[k] -= kGroupSamples;
    }
    waiting.count -= kGroupSamples;
    std::copy_n(waiting.samples + kGroupSamples, waiting.count, waiting.samples);
}

// Where samples that need not be copied are written before they are fed: WaitingSamples::kRoom of them.
int16_t* endOfWaiting(KVXHandle& handle) { return handle.waiting.samples + handle.waiting.count; }

// Takes m samples for the maps; returns the status for the caller.
int32_t feed(KVXHandle& handle, const int16_t* samples, int32_t m) {
    handle.samplesFed += static_cast<uint32_t>(m);
    while (m > 0) {
        const auto room = static_cast<int32_t>(std::end(handle.waiting.samples) - endOfWaiting(handle));
        const int32_t count = std::min(m, room);
        if (samples != endOfWaiting(handle))
            KVXMemCopy(endOfWaiting(handle), samples, static_cast<size_t>(count) * sizeof *samples);
        handle.waiting.count += count;
        samples += count;
        m -= count;
        if (handle.waiting.count >= kGroupSamples + kvx::WaitingSamples::kMaxOffset) giveGroups(handle);
    }
    const auto needed = static_cast<uint32_t>(handle.featureMaps[0]->capacity) * kvx::kFrameSamples;
    if (handle.samplesFed >= needed) {
        giveAll(handle);
        for (size_t k = 0; k < kvx::kMapCount; ++k)
            handle.mapFull[k] = fmap_add_data(handle.featureMaps[k], nullptr, 0) != 0;
    }
    if (!kvx::isFinished(handle)) return KVX_MORE_AUDIO_WANTED;
    for (FeatureMap* map : handle.featureMaps) fmap_drain(map);
    return kFinished;
}

kvx::Owned<int16_t> allocate(size_t bytes) {
    return kvx::Owned<int16_t>(static_cast<int16_t*>(KVXMalloc(std::max(bytes, size_t{1}))));
}

// The most that the resampler writes for frames: samples of one channel, or pairs of two.
size_t resampledBytes(const KVXHandle& handle, int32_t frames) {
    const float ratio = static_cast<float>(kvx::kEngineRateHz) / static_cast<float>(handle.sampleRate);
    const auto bytes = static_cast<float>(frames * static_cast<int32_t>(sizeof(int16_t)));
    return static_cast<size_t>(bytes * ratio) + 2;
}

// An application's hooks may count, print or change what they copy, so samples pass through them first, and are
// resampled into a block from them. Where the hooks are the C library's nobody can tell: samples are read where they
// lie, and written where they wait.
bool hooksAreOfTheCLibrary() { return KVXMemCopy == &std::memcpy && KVXMalloc == &std::malloc; }

bool isAligned(const uint8_t* pcm) { return reinterpret_cast<uintptr_t>(pcm) % alignof(int16_t) == 0; }

// Mixes and resamples. copy: samples again, where they were copied and may be changed; null where they are the
// caller's.
int32_t prepareAndFeed(KVXHandle& handle, const int16_t* samples, int16_t* copy, int32_t frames) {
    const bool hasRate = handle.sampleRate == kvx::kEngineRateHz;
    const size_t bytes = hasRate ? static_cast<size_t>(frames) * sizeof *samples : resampledBytes(handle, frames);
    const auto capacity = static_cast<uint32_t>(bytes / sizeof *samples);
    int16_t* output = hasRate ? copy : nullptr;
    if (copy == nullptr && capacity <= kvx::WaitingSamples::kRoom) output = endOfWaiting(handle);
    kvx::Owned<int16_t> block;
    if (output == nullptr) {
        block = allocate(bytes);
        output = block.get();
        if (output == nullptr) return -1;
    }
    uint32_t produced = capacity;
    if (hasRate)
        kvx::lanesInUse().mix(samples, capacity, output);
    else if (handle.channelCount == 1)
        produced = KVXResample(&handle, samples, output, frames, capacity);
    else
        produced = kvx::mixAndResample(handle, samples, frames, output, capacity);
    return feed(handle, output, static_cast<int32_t>(produced));
}

// Prefetches past this chunk, because callers usually feed contiguous memory. To prefetch an address that holds nothing
// does no harm.
void prefetchAfter(const uint8_t* pcm, int32_t count) {
    constexpr int32_t kMax = 4096;
    constexpr int32_t kCacheLine = 64;
    const auto after = reinterpret_cast<uintptr_t>(pcm) + static_cast<uintptr_t>(count);
    constexpr int32_t kAtOnce = 8; // lines; measured, a loop over single ones costs 1 % of a session
    for (int32_t i = 0; i < std::min(count, kMax); i += kAtOnce * kCacheLine) {
        for (int32_t line = 0; line < kAtOnce; ++line) {
            const uintptr_t place = after + static_cast<uintptr_t>(i + line * kCacheLine);
            __builtin_prefetch(reinterpret_cast<const void*>(place)); // NOLINT(performance-no-int-to-ptr)
        }
    }
}

} // namespace

namespace kvx {

std::array<const char*, kCodeStringCount> codeStrings(const KVXHandle& handle) {
    std::array<const char*, kCodeStringCount> strings{};
    for (size_t k = 0; k < kMapCount; ++k) {
        FeatureMap* map = handle.featureMaps[k];
        if (map == nullptr) continue;
        giveTo(handle, k, handle.waiting.count); // of a session that is not finished
        fmap_settle(map);
        strings[2 * k] = map->coder1.text;
        strings[2 * k + 1] = map->coder2.text;
    }
    return strings;
}

bool isFinished(const KVXHandle& handle) { return handle.mapFull[kMapCount - 1] != 0; }

uint32_t samplesMissing(const KVXHandle& handle) {
    if (!hasMaps(handle) || isFinished(handle)) return 0;
    const auto frames = static_cast<uint32_t>(handle.featureMaps[kMapCount - 1]->capacity);
    return frames * uint32_t{kFrameSamples} + FEATURE_MAP_OFFSETS[kMapCount - 1] - handle.samplesFed;
}

void destroyFeatureMaps(KVXHandle& handle) {
    for (FeatureMap*& map : handle.featureMaps) {
        fmap_destroy(map);
        map = nullptr;
    }
}

} // namespace kvx

extern "C" {

int32_t KVXNewFingerprint3(KVXHandle* handle, int32_t channels, int32_t sampleRateHz, int32_t durationMs) noexcept {
    if (handle == nullptr) return -1;
    if (durationMs <= kTooShortMs) return -2;
    if (sampleRateHz < kLowestRateHz || (channels != 1 && channels != 2)) return -1;

    const int32_t codedMs = std::min(durationMs - kUncodedMs, kMaxCodedMs);
    const auto frames = static_cast<uint32_t>(KVX_GetFeatureSize(static_cast<uint32_t>(codedMs)));
    kvx::destroyFeatureMaps(*handle);
    for (size_t k = 0; k < kvx::kMapCount; ++k) {
        handle->featureMaps[k] = fmap_create(frames);
        handle->mapFull[k] = 0;
    }
    if (!hasMaps(*handle)) {
        kvx::destroyFeatureMaps(*handle);
        return -1;
    }
    handle->samplesFed = 0;
    handle->waiting.count = 0;
    std::copy_n(kvx::FEATURE_MAP_OFFSETS.begin(), kvx::kMapCount, handle->waiting.taken);
    handle->sampleRate = sampleRateHz;
    handle->channelCount = channels;
    handle->durationMs = durationMs;
    KVXResamplerInit(handle, sampleRateHz, kvx::kEngineRateHz);
    return durationMs > kLongTrackMs ? kLongTrackStartMs : 0;
}

int32_t KVXGenerateFingerprint3(KVXHandle* handle, const uint8_t* pcm, int32_t count) noexcept {
    if (handle == nullptr || pcm == nullptr || count < 0 || count % 4 != 0 || !hasMaps(*handle)) return -1;
    prefetchAfter(pcm, count);
    const int32_t frames = count / static_cast<int32_t>(sizeof(int16_t)) / handle->channelCount;
    kvx::Owned<int16_t> copy;
    const auto* samples = static_cast<const int16_t*>(static_cast<const void*>(pcm));
    if (!hooksAreOfTheCLibrary() || !isAligned(pcm)) {
        copy = allocate(static_cast<size_t>(count));
        if (copy == nullptr) return -1;
        KVXEndianBufferCopy(copy.get(), pcm, count, sizeof(int16_t));
        samples = copy.get();
    }
    if (handle->channelCount == 1 && handle->sampleRate == kvx::kEngineRateHz) return feed(*handle, samples, frames);
    return prepareAndFeed(*handle, samples, copy.get(), frames);
}

int32_t KVXGenerateFingerprint3_Real(KVXHandle* handle, const int16_t* samples, int32_t count) noexcept {
    if (handle == nullptr || !hasMaps(*handle)) return -1;
    return feed(*handle, samples, samples == nullptr ? 0 : std::max(count, 0)); // null: no samples, not a bad call
}

int32_t KVX_GetFeatureSize(uint32_t durationMs) noexcept {
    const auto samples = static_cast<int32_t>(durationMs * static_cast<uint32_t>(kvx::kEngineRateHz)) / 1000;
    constexpr auto kFrame = static_cast<int32_t>(kvx::kFrameSamples);
    return (samples + kFrame - 1) >> std::countr_zero(kvx::kFrameSamples); // toward minus infinity
}

} // extern "C"
