#include "fingerprint/feature_map.h"

#include "owned.h"

#include <algorithm>
#include <cmath>
#include <limits>

using kvx::FeatureVector;

namespace {

// Vectors that reach the coder before the first is coded.
constexpr int32_t kSkippedVectors = 40;
constexpr size_t kBands = 5; // whose logarithm is taken; the sixth counts in the total alone

// A run of L vectors writes fewer than L letters, so capacity letters always fit.
size_t textBytes(int32_t capacity) {
    const auto frames = static_cast<size_t>(capacity);
    return frames + frames / 215 + 1;
}

// Where a fresh and a reset map start.
void start(FeatureMap& map, int32_t capacity, char* text1, char* text2) {
    map.capacity = capacity;
    map.coder1.codebook = &kvx::marsyas_codebook1;
    map.coder2.codebook = &kvx::marsyas_codebook2;
    map.coder1.text = text1;
    map.coder2.text = text2;
}

void takeFrame(FeatureMap& map) {
    ++map.framesSeen;
    FeatureVector feature;
    iterator_get_feature(map.work, &feature, map.frame);
    const FeatureVector* vector = fmap_mean_tick(&map, &feature);
    vector = fmap_norm_tick(&map, vector);
    if (vector == nullptr) return;
    vector = fmap_conv_tick(&map, vector);
    if (vector == nullptr) return;
    fmap_code_tick(&map, vector);
}

} // namespace

FeatureMap* fmap_create(uint32_t capacity) {
    if (capacity > static_cast<uint32_t>(std::numeric_limits<int32_t>::max())) return nullptr;
    const auto frames = static_cast<int32_t>(capacity);
    auto map = kvx::makeZeroed<FeatureMap>();
    kvx::Owned<char> text1(static_cast<char*>(kvx::allocateZeroed(textBytes(frames))));
    kvx::Owned<char> text2(static_cast<char*>(kvx::allocateZeroed(textBytes(frames))));
    if (map == nullptr || text1 == nullptr || text2 == nullptr) return nullptr;
    start(*map, frames, text1.release(), text2.release());
    return map.release();
}

void fmap_destroy(FeatureMap* map) {
    if (map == nullptr) return;
    KVXFree(map->coder1.text);
    KVXFree(map->coder2.text);
    KVXFree(map);
}

void fmap_reset(FeatureMap* map) {
    const int32_t capacity = map->capacity;
    char* text1 = map->coder1.text;
    char* text2 = map->coder2.text;
    KVXMemSet(map, 0, sizeof *map);
    KVXMemSet(text1, 0, textBytes(capacity));
    KVXMemSet(text2, 0, textBytes(capacity));
    start(*map, capacity, text1, text2);
}

int32_t fmap_add_data(FeatureMap* map, const int16_t* samples, int32_t count) {
    while (count > 0 && map->framesSeen < map->capacity) {
        const int32_t taken = std::min(static_cast<int32_t>(kvx::kFrameSamples) - map->fill, count);
        KVXMemCopy(map->frame + map->fill, samples, static_cast<size_t>(taken) * sizeof *samples);
        map->fill += taken;
        samples += taken;
        count -= taken;
        if (map->fill == static_cast<int32_t>(kvx::kFrameSamples)) {
            map->fill = 0;
            takeFrame(*map);
        }
    }
    return map->framesSeen >= map->capacity ? 1 : 0;
}

int32_t fmap_flush(FeatureMap* map) {
    if (map->finished != 0) return 1; // and the stages' counts stand still
    const int32_t result = fmap_code_tick(map, fmap_conv_tick(map, fmap_norm_tick(map, nullptr)));
    if (result == 1) map->finished = 1;
    return result;
}

void iterator_get_feature(float* work, FeatureVector* out, const int16_t* frame) {
    constexpr size_t kHalf = kvx::kFrameSamples / 2;
    for (size_t i = 0; i < kHalf; ++i) {
        work[i] = static_cast<float>(frame[i]) * kvx::hamming_data[i];
        work[kHalf + i] = static_cast<float>(frame[kHalf + i]) * kvx::hamming_data[kHalf - 1 - i];
    }
    float* magnitudes = work + kvx::kSpectrumFloats;
    const float centroid = psd_process(magnitudes, work);

    FeatureVector& feature = *out;
    float total = 0.0F;
    for (size_t band = 0; band < kvx::kFeatureDimensions; ++band) {
        feature[band] = 0.0F;
        for (int32_t bin = kvx::bstart[band]; bin < kvx::bclose[band]; ++bin) feature[band] += magnitudes[bin];
        total += feature[band];
    }
    for (size_t band = 0; band < kBands; ++band) {
        if (feature[band] != 0.0F) feature[band] = std::log(feature[band] / total);
    }
    feature[kvx::kFeatureDimensions - 1] = centroid;
}

const FeatureVector* fmap_mean_tick(FeatureMap* map, const FeatureVector* vector) { return map->mean.tick(vector); }

const FeatureVector* fmap_norm_tick(FeatureMap* map, const FeatureVector* vector) { return map->norm.tick(vector); }

const FeatureVector* fmap_conv_tick(FeatureMap* map, const FeatureVector* vector) { return map->conv.tick(vector); }

int32_t fmap_code_tick(FeatureMap* map, const FeatureVector* vector) {
    if (map->codeTicks >= map->capacity) return 1;
    if (vector == nullptr) return -1;
    ++map->codeTicks;
    if (map->codeTicks <= kSkippedVectors) return 0;
    map->coder1.code(*vector);
    map->coder2.code(*vector);
    return map->codeTicks >= map->capacity ? 1 : 0;
}
