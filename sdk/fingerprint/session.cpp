// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/session.h"

#include "fingerprint/audio.h"
#include "fingerprint/feature_map.h"
#include "owned.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace kvx {

const std::array<uint32_t, kMapCount + 1> FEATURE_MAP_OFFSETS = {0, 128, 256, 0};

} // namespace kvx

namespace {

constexpr int32_t kTooShortMs = 6005;
constexpr int32_t kLowestRateHz = 11025;
constexpr int32_t kLongTrackMs = 74005;
constexpr int32_t kLongTrackStartMs = 44000;
constexpr int32_t kUncodedMs = 50;
constexpr int32_t kLongestCodedMs = 30000;
constexpr int32_t kFinished = 0;

bool hasMaps(const KVXHandle& handle) {
    return std::none_of(std::begin(handle.featureMaps), std::end(handle.featureMaps),
                        [](const FeatureMap* map) { return map == nullptr; });
}

// Gives every map its part of m samples; says what the caller is to be told.
int32_t feed(KVXHandle& handle, const int16_t* samples, int32_t m) {
    const uint32_t fedBefore = handle.samplesFed;
    handle.samplesFed += static_cast<uint32_t>(m);
    handle.mapFull[0] = fmap_add_data(handle.featureMaps[0], samples, m) != 0;
    for (size_t k = 1; k < kvx::kMapCount; ++k) {
        const uint32_t offset = kvx::FEATURE_MAP_OFFSETS[k];
        if (handle.samplesFed <= offset) continue;
        const auto skip = offset > fedBefore ? static_cast<int32_t>(offset - fedBefore) : 0;
        handle.mapFull[k] = fmap_add_data(handle.featureMaps[k], samples + skip, m - skip) != 0;
    }
    if (!kvx::isFinished(handle)) return KVX_MORE_AUDIO_WANTED;
    for (FeatureMap* map : handle.featureMaps) fmap_drain(map);
    return kFinished;
}

kvx::Owned<int16_t> allocate(size_t bytes) {
    return kvx::Owned<int16_t>(static_cast<int16_t*>(KVXMalloc(std::max(bytes, size_t{1}))));
}

// frames: samples of one channel, or pairs of two.
int32_t resampleAndFeed(KVXHandle& handle, const int16_t* samples, int32_t frames) {
    const float ratio = static_cast<float>(kvx::kEngineRateHz) / static_cast<float>(handle.sampleRate);
    const auto bytes = static_cast<float>(frames * static_cast<int32_t>(sizeof *samples));
    const size_t outputBytes = static_cast<size_t>(bytes * ratio) + 2;
    const kvx::Owned<int16_t> output = allocate(outputBytes);
    if (output == nullptr) return -1;
    const auto capacity = static_cast<uint32_t>(outputBytes / sizeof *samples);
    const uint32_t produced = handle.channelCount == 1
                                  ? KVXResample(&handle, samples, output.get(), frames, capacity)
                                  : kvx::mixAndResample(handle, samples, frames, output.get(), capacity);
    return feed(handle, output.get(), static_cast<int32_t>(produced));
}

// Samples are copied through the hooks first, which may count, print or change what they are given. Where the hooks are
// the C library's nobody can tell, and samples that need no preparation are read where they lie. (Others are copied all
// the same: that brings them into the cache faster than the preparation would.)
bool needsNoCopy(const KVXHandle& handle, const uint8_t* pcm) {
    return handle.sampleRate == kvx::kEngineRateHz && handle.channelCount == 1 && KVXMemCopy == &std::memcpy &&
           KVXMalloc == &std::malloc && reinterpret_cast<uintptr_t>(pcm) % alignof(int16_t) == 0;
}

// Callers that have a recording in memory bring what follows next: asks the processor to fetch it. What is not there is
// not read, so the address need not be one of an object.
void prefetchBehind(const uint8_t* pcm, int32_t count) {
    constexpr int32_t kMost = 4096;
    constexpr int32_t kCacheLine = 64;
    const auto behind = reinterpret_cast<uintptr_t>(pcm) + static_cast<uintptr_t>(count);
    for (int32_t i = 0; i < std::min(count, kMost); i += kCacheLine) {
        const uintptr_t line = behind + static_cast<uintptr_t>(i);
        __builtin_prefetch(reinterpret_cast<const void*>(line)); // NOLINT(performance-no-int-to-ptr)
    }
}

} // namespace

namespace kvx {

std::array<const char*, kCodeStringCount> codeStrings(const KVXHandle& handle) {
    std::array<const char*, kCodeStringCount> strings{};
    for (size_t k = 0; k < kMapCount; ++k) {
        FeatureMap* map = handle.featureMaps[k];
        if (map == nullptr) continue;
        fmap_settle(map); // of a session that is not finished
        strings[2 * k] = map->coder1.text;
        strings[2 * k + 1] = map->coder2.text;
    }
    return strings;
}

bool isFinished(const KVXHandle& handle) { return handle.mapFull[kMapCount - 1] != 0; }

void destroyFeatureMaps(KVXHandle& handle) {
    for (FeatureMap*& map : handle.featureMaps) {
        fmap_destroy(map);
        map = nullptr;
    }
}

} // namespace kvx

extern "C" {

int32_t KVXNewFingerprint3(KVXHandle* handle, int32_t channels, int32_t sampleRateHz, int32_t durationMs) {
    if (handle == nullptr) return -1;
    if (durationMs <= kTooShortMs) return -2;
    if (sampleRateHz < kLowestRateHz || (channels != 1 && channels != 2)) return -1;

    const int32_t codedMs = std::min(durationMs - kUncodedMs, kLongestCodedMs);
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
    handle->sampleRate = sampleRateHz;
    handle->channelCount = channels;
    handle->durationMs = durationMs;
    KVXResamplerInit(handle, sampleRateHz, kvx::kEngineRateHz);
    return durationMs > kLongTrackMs ? kLongTrackStartMs : 0;
}

int32_t KVXGenerateFingerprint3(KVXHandle* handle, const uint8_t* pcm, int32_t count) {
    if (handle == nullptr || pcm == nullptr || count < 0 || count % 4 != 0 || !hasMaps(*handle)) return -1;
    prefetchBehind(pcm, count);
    const int32_t frames = count / static_cast<int32_t>(sizeof(int16_t)) / handle->channelCount;
    if (needsNoCopy(*handle, pcm))
        return feed(*handle, static_cast<const int16_t*>(static_cast<const void*>(pcm)), frames);
    const kvx::Owned<int16_t> work = allocate(static_cast<size_t>(count));
    if (work == nullptr) return -1;
    KVXEndianBufferCopy(work.get(), pcm, count, sizeof(int16_t));
    if (handle->sampleRate != kvx::kEngineRateHz) return resampleAndFeed(*handle, work.get(), frames);
    if (handle->channelCount != 1) KVXMixChannels(work.get(), 2 * static_cast<uint32_t>(frames));
    return feed(*handle, work.get(), frames);
}

int32_t KVXGenerateFingerprint3_Real(KVXHandle* handle, const int16_t* samples, int32_t count) {
    if (handle == nullptr || !hasMaps(*handle)) return -1;
    return feed(*handle, samples, samples == nullptr ? 0 : std::max(count, 0)); // null: no samples, not a bad call
}

int32_t KVX_GetFeatureSize(uint32_t durationMs) {
    const auto samples = static_cast<int32_t>(durationMs * static_cast<uint32_t>(kvx::kEngineRateHz)) / 1000;
    return (samples + 511) >> 9; // toward minus infinity
}

uint32_t safe_strlen(const char* text) { return text == nullptr ? 0 : static_cast<uint32_t>(std::strlen(text)); }

} // extern "C"
