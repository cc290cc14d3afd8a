// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/feature_map.h"

#include "owned.h"

#include <algorithm>
#include <cmath>
#include <limits>

using kvx::FeatureVector;
using kvx::StageVector;

namespace {

// Vectors that reach the coder before the first is coded.
constexpr int32_t kSkippedVectors = 40;
// A call with so many frames leaves none waiting, so that whoever brings whole recordings finds all counts in place;
// taking in less than a group costs as much as a whole one, which is little then.
constexpr int32_t kManyFrames = 128;
constexpr int32_t kEndless = std::numeric_limits<int32_t>::max(); // capacity that no recording reaches: 1.5 years
constexpr size_t kBands = 5; // whose logarithm is taken; the sixth counts in the total alone

// A run of L vectors writes fewer than L letters, so capacity letters always fit.
size_t textBytes(int32_t capacity) {
    const auto frames = static_cast<size_t>(capacity);
    return frames + frames / 215 + 1;
}

// Where a fresh and a reset map start: what a map keeps for life.
struct Lasting {
    int32_t capacity;
    int32_t textFrames;
    char* texts[2];
    int32_t* ticks[2];
};

void start(FeatureMap& map, const Lasting& lasting) {
    map.capacity = lasting.capacity;
    map.textFrames = lasting.textFrames;
    map.coder1.codebook = &kvx::marsyas_codebook1;
    map.coder2.codebook = &kvx::marsyas_codebook2;
    map.coder1.text = lasting.texts[0];
    map.coder2.text = lasting.texts[1];
    map.coder1.ticks = lasting.ticks[0];
    map.coder2.ticks = lasting.ticks[1];
}

kvx::Owned<char> newText(int32_t frames) {
    return kvx::Owned<char>(static_cast<char*>(kvx::allocateZeroed(textBytes(frames))));
}

kvx::Owned<int32_t> newTicks(int32_t frames) {
    return kvx::Owned<int32_t>(static_cast<int32_t*>(kvx::allocateZeroed(textBytes(frames) * sizeof(int32_t))));
}

// Up to a group of vectors that go to the coder together.
class CodeGroup {
  public:
    explicit CodeGroup(FeatureMap& map) : map_(map) {}
    int32_t size() const { return static_cast<int32_t>(size_); }
    // Null is no vector.
    void add(const StageVector* vector) {
        if (vector == nullptr) return;
        for (size_t d = 0; d < kvx::kFeatureDimensions; ++d) vectors_.values[d][size_] = vector->values[d];
        if (++size_ == kvx::kGroupFrames) code();
    }
    void code() {
        const size_t count = size_;
        size_ = 0;
        if (count == 0) return;
        int32_t rows1[kvx::kGroupFrames];
        int32_t rows2[kvx::kGroupFrames];
        kvx::nearestRows(*map_.coder1.codebook, vectors_, rows1);
        kvx::nearestRows(*map_.coder2.codebook, vectors_, rows2);
        for (size_t i = 0; i < count && map_.codeTicks < map_.capacity; ++i) {
            if (++map_.codeTicks <= kSkippedVectors) continue;
            map_.coder1.code(rows1[i], map_.codeTicks);
            map_.coder2.code(rows2[i], map_.codeTicks);
        }
    }

  private:
    FeatureMap& map_;
    kvx::VectorGroup vectors_{};
    size_t size_ = 0;
};

// The first count frames of a group.
void takeIn(FeatureMap& map, const kvx::GroupFrames& frames, int32_t count) {
    FeatureVector features[kvx::kGroupFrames];
    kvx::featuresOfGroup(frames, features);
    CodeGroup coded(map);
    for (int32_t i = 0; i < count; ++i) {
        const StageVector feature = kvx::stageVectorOf(features[i]);
        const StageVector* vector = map.norm.tick(map.mean.tick(&feature));
        if (vector != nullptr) coded.add(map.conv.tick(vector));
    }
    coded.code();
}

const FeatureVector* valuesOf(const StageVector* vector) { return vector == nullptr ? nullptr : &vector->values; }

template <class Stage>
const FeatureVector* tickOf(Stage& stage, const FeatureVector* vector) {
    if (vector == nullptr) return valuesOf(stage.tick(nullptr));
    const StageVector padded = kvx::stageVectorOf(*vector);
    return valuesOf(stage.tick(&padded));
}

int16_t* frameOf(FeatureMap& map, size_t index) { return index == 0 ? map.frame : map.otherFrames[index - 1]; }

} // namespace

FeatureMap* fmap_create(uint32_t capacity) {
    if (capacity > static_cast<uint32_t>(kEndless)) return nullptr;
    const auto frames = static_cast<int32_t>(capacity);
    auto map = kvx::makeZeroed<FeatureMap>();
    auto text1 = newText(frames);
    auto text2 = newText(frames);
    if (map == nullptr || text1 == nullptr || text2 == nullptr) return nullptr;
    start(*map, {frames, frames, {text1.release(), text2.release()}, {}});
    return map.release();
}

FeatureMap* fmap_create_endless(uint32_t textFrames) {
    FeatureMap* map = fmap_create(textFrames);
    if (map == nullptr) return nullptr;
    auto ticks1 = newTicks(map->textFrames);
    auto ticks2 = newTicks(map->textFrames);
    if (ticks1 == nullptr || ticks2 == nullptr) {
        fmap_destroy(map);
        return nullptr;
    }
    map->capacity = kEndless;
    map->coder1.ticks = ticks1.release();
    map->coder2.ticks = ticks2.release();
    return map;
}

void fmap_destroy(FeatureMap* map) {
    if (map == nullptr) return;
    for (const kvx::CodebookState& coder : {map->coder1, map->coder2}) {
        KVXFree(coder.text);
        if (coder.ticks != nullptr) KVXFree(coder.ticks);
    }
    KVXFree(map);
}

void fmap_reset(FeatureMap* map) {
    const Lasting lasting = {
        map->capacity, map->textFrames, {map->coder1.text, map->coder2.text}, {map->coder1.ticks, map->coder2.ticks}};
    KVXMemSet(map, 0, sizeof *map);
    for (char* text : lasting.texts) KVXMemSet(text, 0, textBytes(lasting.textFrames));
    start(*map, lasting);
}

void fmap_settle(FeatureMap* map) {
    if (map->waiting == 0) return;
    kvx::GroupFrames frames;
    for (size_t i = 0; i < frames.size(); ++i) frames[i] = frameOf(*map, i);
    takeIn(*map, frames, map->waiting);
    // The frame being collected is the first of the next group.
    if (map->fill > 0)
        KVXMemCopy(map->frame, frameOf(*map, static_cast<size_t>(map->waiting)),
                   static_cast<size_t>(map->fill) * sizeof map->frame[0]);
    map->waiting = 0;
}

int32_t fmap_add_data(FeatureMap* map, const int16_t* samples, int32_t count) {
    constexpr auto kFrame = static_cast<int32_t>(kvx::kFrameSamples);
    constexpr auto kGroup = static_cast<int32_t>(kvx::kGroupFrames);
    const bool many = count >= kManyFrames * kFrame;
    while (count > 0 && map->framesSeen < map->capacity) {
        if (map->fill + map->waiting == 0 && count >= kGroup * kFrame && map->capacity - map->framesSeen >= kGroup) {
            kvx::GroupFrames frames; // where they lie
            for (size_t i = 0; i < frames.size(); ++i) frames[i] = samples + i * kvx::kFrameSamples;
            takeIn(*map, frames, kGroup);
            map->framesSeen += kGroup;
            samples += kGroup * kFrame;
            count -= kGroup * kFrame;
            continue;
        }
        const int32_t taken = std::min(kFrame - map->fill, count);
        int16_t* frame = frameOf(*map, static_cast<size_t>(map->waiting));
        KVXMemCopy(frame + map->fill, samples, static_cast<size_t>(taken) * sizeof *samples);
        map->fill += taken;
        samples += taken;
        count -= taken;
        if (map->fill == kFrame) {
            map->fill = 0;
            ++map->framesSeen;
            if (++map->waiting == kGroup) fmap_settle(map);
        }
    }
    const bool full = map->framesSeen >= map->capacity;
    if (full || many) fmap_settle(map);
    return full ? 1 : 0;
}

int32_t fmap_flush(FeatureMap* map) {
    fmap_settle(map);
    if (map->finished != 0) return 1; // and the stages' counts stand still
    const int32_t result = fmap_code_tick(map, valuesOf(map->conv.tick(map->norm.tick(nullptr))));
    if (result == 1) map->finished = 1;
    return result;
}

void fmap_drain(FeatureMap* map) {
    fmap_settle(map);
    CodeGroup coded(*map);
    while (map->finished == 0) {
        const StageVector* vector = map->conv.tick(map->norm.tick(nullptr));
        const int32_t ticks = map->codeTicks + coded.size();
        if (ticks + (vector != nullptr ? 1 : 0) >= map->capacity) map->finished = 1;
        if (vector == nullptr || ticks >= map->capacity) break;
        coded.add(vector);
    }
    coded.code();
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

const FeatureVector* fmap_mean_tick(FeatureMap* map, const FeatureVector* vector) {
    fmap_settle(map);
    return tickOf(map->mean, vector);
}

const FeatureVector* fmap_norm_tick(FeatureMap* map, const FeatureVector* vector) {
    fmap_settle(map);
    return tickOf(map->norm, vector);
}

const FeatureVector* fmap_conv_tick(FeatureMap* map, const FeatureVector* vector) {
    fmap_settle(map);
    return tickOf(map->conv, vector);
}

int32_t fmap_code_tick(FeatureMap* map, const FeatureVector* vector) {
    fmap_settle(map);
    if (map->codeTicks >= map->capacity) return 1;
    if (vector == nullptr) return -1;
    ++map->codeTicks;
    if (map->codeTicks <= kSkippedVectors) return 0;
    map->coder1.code(kvx::nearestRow(*map->coder1.codebook, *vector), map->codeTicks);
    map->coder2.code(kvx::nearestRow(*map->coder2.codebook, *vector), map->codeTicks);
    return map->codeTicks >= map->capacity ? 1 : 0;
}
