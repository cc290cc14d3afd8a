// SPDX-License-Identifier: Apache-2.0
// A fingerprint session: the channels, rate and duration of a track, then PCM in blocks of any size.
//
// Holds: there are only known statuses; the code strings are letters; the same audio gives the same strings again; all
// memory is returned.
#include "arena_hooks.h"
#include "core/handle.h"
#include "fingerprint/engine/feature_map.h"
#include "fuzz_target.h"
#include "support/guarded_bytes.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

struct TrackSetting {
    int32_t channels;
    size_t blockBytes; // fed at a time; 0: all at once
    int32_t rateHz;
    int32_t durationMs;
};
constexpr size_t kTrackBytes = 8;

TrackSetting settingOf(const uint8_t* bytes) {
    const auto three = [](const uint8_t* number) { return number[0] | number[1] << 8 | number[2] << 16; };
    return {bytes[0], bytes[1] * size_t{4}, three(bytes + 2), three(bytes + 5)};
}

// The six code strings so far, a blank between them.
std::string stringsOf(const KVXHandle& handle) {
    std::string strings;
    for (const FeatureMap* map : handle.featureMaps) {
        if (map == nullptr) continue;
        strings.append(map->coder1.text).append(" ").append(map->coder2.text).append(" ");
    }
    return strings;
}

std::string stringsOf(const TrackSetting& track, std::span<const uint8_t> pcm) {
    const auto handle = fuzz::makeHandle();
    const int32_t startMs = KVXNewFingerprint3(handle.get(), track.channels, track.rateHz, track.durationMs);
    REQUIRE(startMs == 0 || startMs == 44000 || startMs == -1 || startMs == -2);
    while (!pcm.empty()) {
        const size_t count = std::min(track.blockBytes == 0 ? pcm.size() : track.blockBytes, pcm.size());
        const kvxtest::GuardedBytes block(pcm.first(count));
        const int32_t status = KVXGenerateFingerprint3(handle.get(), block.data(), static_cast<int32_t>(count));
        REQUIRE(status == 0 || status == KVX_MORE_AUDIO_WANTED || status == -1);
        REQUIRE((status == -1) == (startMs < 0 || count % 4 != 0));
        pcm = pcm.subspan(count);
    }
    return stringsOf(*handle);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kTrackBytes) return 0;
    const TrackSetting track = settingOf(data);
    const std::span<const uint8_t> pcm(data + kTrackBytes, size - kTrackBytes);
    const fuzz::ArenaHooks hooks;
    const std::string strings = stringsOf(track, pcm);
    REQUIRE(strings.find_first_not_of("abcdefghijklmnopqrstuvwx ") == std::string::npos);
    REQUIRE(stringsOf(track, pcm) == strings);
    REQUIRE(hooks.strayFrees() == 0);
    REQUIRE(hooks.live() == 0);
    return 0;
}
