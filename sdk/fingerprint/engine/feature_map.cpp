// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/engine/feature_map.h"

#include "util/owned.h"

#include <algorithm>
#include <limits>

using kvx::FeatureVector;
using kvx::StageVector;

namespace {

// A call with at least this many frames leaves none waiting, so that a caller with whole recordings finds all counts in
// place. Part of a group costs as much as a whole one, which is little beside this many frames.
constexpr int32_t kManyFrames = 128;
constexpr int32_t kEndless = std::numeric_limits<int32_t>::max(); // capacity that no recording reaches: 1.5 years

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
        for (size_t i = 0; i < count && map_.codeTicks < map_.capacity; ++i) kvx::codeRows(map_, rows1[i], rows2[i]);
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
    for (int32_t i = 0; i < count; ++i) coded.add(map.stages.feed(kvx::stageVectorOf(features[i])));
    coded.code();
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

void fmap_drain(FeatureMap* map) {
    fmap_settle(map);
    CodeGroup coded(*map);
    while (map->finished == 0) {
        const StageVector* vector = map->stages.drain();
        const int32_t ticks = map->codeTicks + coded.size();
        if (ticks + (vector != nullptr ? 1 : 0) >= map->capacity) map->finished = 1;
        if (vector == nullptr || ticks >= map->capacity) break;
        coded.add(vector);
    }
    coded.code();
}
