// SPDX-License-Identifier: Apache-2.0
#include "fingerprint/engine/feature_map.h"
#include "fingerprint/plain/ticks.h"

#include "support/audio.h"
#include "support/counting_hooks.h"
#include "support/plain_engine.h"

#include <gtest/gtest.h>
#include <memory>

namespace plain = kvxtest::plain;

using kvxtest::Audio;
using kvxtest::audioSamples;

namespace {

struct MapDestroy {
    void operator()(FeatureMap* map) const { fmap_destroy(map); }
};
using MapPointer = std::unique_ptr<FeatureMap, MapDestroy>;

MapPointer makeMap(uint32_t capacity) { return MapPointer(fmap_create(capacity)); }

// frames whole frames of music.
std::vector<int16_t> music(size_t frames) {
    std::vector<int16_t> samples = audioSamples(Audio::kMusic, 1, 22050, 0, static_cast<int>(frames * 24));
    samples.resize(frames * 512);
    return samples;
}

int32_t add(FeatureMap* map, const std::vector<int16_t>& samples) {
    return fmap_add_data(map, samples.data(), static_cast<int32_t>(samples.size()));
}

int flushAll(FeatureMap* map, int& last) {
    int calls = 1;
    for (last = fmap_flush(map); last == 0; last = fmap_flush(map)) ++calls;
    return calls;
}

} // namespace

TEST(FeatureMap, StartsEmpty) {
    const MapPointer map = makeMap(215);
    EXPECT_EQ(map->capacity, 215);
    EXPECT_EQ(map->framesSeen, 0);
    EXPECT_EQ(map->fill, 0);
    EXPECT_EQ(map->finished, 0);
    EXPECT_EQ(map->codeTicks, 0);
    for (const char* text : {map->coder1.text, map->coder2.text})
        for (size_t i = 0; i < 217; ++i) ASSERT_EQ(text[i], '\0');
}

TEST(FeatureMap, TakesThreeBlocksAndReturnsThem) {
    kvxtest::CountingHooks hooks;
    FeatureMap* map = fmap_create(645);
    EXPECT_EQ(hooks.live(), 3U);
    EXPECT_EQ(hooks.largest(), sizeof(FeatureMap));
    fmap_destroy(map);
    EXPECT_EQ(hooks.live(), 0U);
    fmap_destroy(nullptr);
    EXPECT_EQ(hooks.strayFrees(), 0);
}

TEST(FeatureMap, IsNullWhenAnyAllocationFails) {
    kvxtest::CountingHooks hooks;
    for (long failing = 0; failing < 3; ++failing) {
        hooks.failAfter(failing);
        EXPECT_EQ(fmap_create(645), nullptr) << failing;
        EXPECT_EQ(hooks.live(), 0U) << failing;
    }
    EXPECT_EQ(hooks.strayFrees(), 0);
}

TEST(FeatureMap, AllocatesNothingOnceItIsMade) {
    kvxtest::CountingHooks hooks;
    const MapPointer map = makeMap(300);
    const long allocations = hooks.allocations();
    EXPECT_EQ(add(map.get(), music(300)), 1);
    int last = 0;
    flushAll(map.get(), last);
    EXPECT_EQ(hooks.allocations(), allocations);
}

TEST(FeatureMap, SaysWhetherItIsFullForNoSamplesAndTakesNothing) {
    const MapPointer map = makeMap(1);
    const int16_t sample = 7;
    EXPECT_EQ(fmap_add_data(map.get(), &sample, 0), 0);
    EXPECT_EQ(fmap_add_data(map.get(), &sample, -4), 0);
    EXPECT_EQ(fmap_add_data(map.get(), nullptr, 0), 0);
    EXPECT_EQ(map->fill, 0);
    add(map.get(), music(1));
    EXPECT_EQ(fmap_add_data(map.get(), &sample, 0), 1);
    EXPECT_EQ(fmap_add_data(map.get(), &sample, -4), 1);
}

TEST(FeatureMap, MakesAFrameOf512Samples) {
    const MapPointer map = makeMap(10);
    const std::vector<int16_t> samples = music(2);
    EXPECT_EQ(fmap_add_data(map.get(), samples.data(), 511), 0);
    EXPECT_EQ(map->framesSeen, 0);
    EXPECT_EQ(map->fill, 511);
    EXPECT_EQ(fmap_add_data(map.get(), samples.data() + 511, 1), 0);
    EXPECT_EQ(map->framesSeen, 1);
    EXPECT_EQ(map->fill, 0);
    EXPECT_EQ(fmap_add_data(map.get(), samples.data() + 512, 500), 0);
    EXPECT_EQ(map->fill, 500);
}

TEST(FeatureMap, DropsWhatFollowsTheFrameThatFillsIt) {
    const MapPointer map = makeMap(3);
    EXPECT_EQ(add(map.get(), music(5)), 1);
    EXPECT_EQ(map->framesSeen, 3);
    EXPECT_EQ(map->fill, 0);
    EXPECT_EQ(add(map.get(), music(1)), 1);
    EXPECT_EQ(map->framesSeen, 3);
    EXPECT_EQ(map->fill, 0);
}

TEST(FeatureMap, GivesTheSameWhateverThePieces) {
    const std::vector<int16_t> samples = music(400);
    std::string texts[2];
    for (const size_t piece : {1U, 7U, 511U, 512U, 513U, 5000U, 400U * 512U}) {
        SCOPED_TRACE(piece);
        const MapPointer map = makeMap(400);
        for (size_t at = 0; at < samples.size(); at += piece)
            fmap_add_data(map.get(), samples.data() + at, static_cast<int32_t>(std::min(piece, samples.size() - at)));
        int last = 0;
        flushAll(map.get(), last);
        if (texts[0].empty()) {
            texts[0] = map->coder1.text;
            texts[1] = map->coder2.text;
            EXPECT_GT(texts[0].size(), 50U);
        }
        EXPECT_EQ(map->coder1.text, texts[0]);
        EXPECT_EQ(map->coder2.text, texts[1]);
    }
}

// 101 vectors wait in the normalising window, 5 more in the smoothing window.
TEST(FeatureMap, Codes1186Of1292VectorsWhileFeedingAndTheRestInTheFlush) {
    const MapPointer map = makeMap(1292);
    EXPECT_EQ(add(map.get(), music(1292)), 1);
    EXPECT_EQ(map->codeTicks, 1186);
    EXPECT_EQ(map->finished, 0);
    int last = 0;
    EXPECT_EQ(flushAll(map.get(), last), 106);
    EXPECT_EQ(last, 1);
    EXPECT_EQ(map->finished, 1);
    EXPECT_EQ(map->codeTicks, 1292);
    EXPECT_EQ(map->coder1.coded, 1252);
    EXPECT_EQ(map->coder2.coded, 1252);
}

TEST(FeatureMap, FlushesUntilNothingIsLeftWhenItIsNotFull) {
    const MapPointer map = makeMap(1292);
    EXPECT_EQ(add(map.get(), music(300)), 0);
    EXPECT_EQ(map->codeTicks, 300 - 101 - 5);
    int last = 0;
    EXPECT_EQ(flushAll(map.get(), last), 101 + 11 + 1);
    EXPECT_EQ(last, -1);
    EXPECT_EQ(map->finished, 0);
    EXPECT_EQ(map->codeTicks, 300 + 6);
    EXPECT_EQ(fmap_flush(map.get()), -1);
}

TEST(FeatureMap, FlushesNothingWhenItIsEmpty) {
    const MapPointer map = makeMap(100);
    for (int i = 0; i < 500; ++i) EXPECT_EQ(fmap_flush(map.get()), -1);
    EXPECT_EQ(map->codeTicks, 0);
}

TEST(FeatureMap, StaysFullHoweverOftenItIsFlushed) {
    const MapPointer map = makeMap(300);
    add(map.get(), music(300));
    int last = 0;
    flushAll(map.get(), last);
    const std::string text = map->coder1.text;
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(fmap_flush(map.get()), 1);
    EXPECT_EQ(map->coder1.text, text);
}

TEST(FeatureMap, IsAsGoodAsNewAfterAReset) {
    const MapPointer map = makeMap(300);
    add(map.get(), audioSamples(Audio::kNoise, 1, 22050, 0, 6000));
    int last = 0;
    flushAll(map.get(), last);
    map->fill = 17;
    char* const text1 = map->coder1.text;
    char* const text2 = map->coder2.text;
    fmap_reset(map.get());
    EXPECT_EQ(map->capacity, 300);
    EXPECT_EQ(map->fill, 0);
    EXPECT_EQ(map->finished, 0);
    EXPECT_EQ(map->coder1.text, text1);
    EXPECT_EQ(map->coder2.text, text2);
    for (size_t i = 0; i < 302; ++i) ASSERT_EQ(text1[i] | text2[i], 0);

    const MapPointer fresh = makeMap(300);
    for (FeatureMap* each : {map.get(), fresh.get()}) {
        add(each, music(300));
        flushAll(each, last);
    }
    EXPECT_STREQ(map->coder1.text, fresh->coder1.text);
    EXPECT_STREQ(map->coder2.text, fresh->coder2.text);
}

TEST(FeatureMap, OfCapacityZeroIsFullAtOnce) {
    const MapPointer map = makeMap(0);
    EXPECT_EQ(add(map.get(), music(1)), 1);
    EXPECT_EQ(map->framesSeen, 0);
    EXPECT_EQ(fmap_flush(map.get()), 1);
    EXPECT_STREQ(map->coder1.text, "");
}

TEST(FeatureMap, CodesWholeRecordingsLikeThePlainEngine) {
    // Longer than a session ever codes.
    const std::vector<int16_t> samples = music(2500);
    const MapPointer map = makeMap(2500);
    plain::Map expected(2500);
    EXPECT_EQ(add(map.get(), samples), 1);
    EXPECT_TRUE(expected.add(samples));
    int last = 0;
    flushAll(map.get(), last);
    expected.flush();
    EXPECT_EQ(map->coder1.text, expected.text(1));
    EXPECT_EQ(map->coder2.text, expected.text(2));
}
