#include "coding/query_coder.h"

#include "fingerprint/feature_map.h"
#include "kvx.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>

namespace tarn::server {

namespace {

constexpr uint32_t kUncodedMs = 50;
constexpr uint32_t kMostCodedMs = 30000;
constexpr std::array<size_t, 3> kMapOffsets = {0, 128, 256}; // samples that each map skips

struct MapDestroy {
    void operator()(FeatureMap* map) const { fmap_destroy(map); }
};

} // namespace

FingerprintQuery codeQuery(std::span<const int16_t> samples, uint32_t durationMs) {
    FingerprintQuery query;
    query.durationMs = durationMs;
    if (durationMs <= kUncodedMs) return query;
    const auto frames = static_cast<uint32_t>(KVX_GetFeatureSize(std::min(durationMs - kUncodedMs, kMostCodedMs)));
    for (size_t m = 0; m < kMapOffsets.size(); ++m) {
        const std::unique_ptr<FeatureMap, MapDestroy> map(fmap_create(frames));
        if (map == nullptr) throw std::bad_alloc();
        const std::span<const int16_t> rest = samples.subspan(std::min(kMapOffsets[m], samples.size()));
        const size_t count = std::min<size_t>(rest.size(), size_t{frames} * kvx::kFrameSamples);
        if (fmap_add_data(map.get(), rest.data(), static_cast<int32_t>(count)) == 0) return {{}, durationMs};
        while (fmap_flush(map.get()) == 0) {
        }
        query.codes[2 * m].assign(map->coder1.text, static_cast<size_t>(map->coder1.length));
        query.codes[2 * m + 1].assign(map->coder2.text, static_cast<size_t>(map->coder2.length));
    }
    return query;
}

uint32_t clientStartMs(uint32_t durationMs) { return durationMs > 74005 ? 44000 : 0; }

} // namespace tarn::server
