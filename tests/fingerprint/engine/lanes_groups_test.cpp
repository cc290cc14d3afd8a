// SPDX-License-Identifier: Apache-2.0
// Groups of frames that are not whole give the plain engine's bits, on every instruction set that the processor has.
#include "fingerprint/audio.h"
#include "fingerprint/engine/lanes.h"
#include "fingerprint/engine/lanes_fixture.h"
#include "fingerprint/plain/ticks.h"
#include "support/audio.h"
#include "support/guarded_bytes.h"
#include "support/sessions.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>

namespace plain = kvxtest::plain;
using kvxtest::Audio;
using kvxtest::audioBytes;
using kvxtest::audioSamples;
using kvxtest::Lanes;

namespace {

constexpr size_t kGroup = kvx::kGroupFrames;

struct MapDestroy {
    void operator()(FeatureMap* map) const { fmap_destroy(map); }
};

using MapPointer = std::unique_ptr<FeatureMap, MapDestroy>;

MapPointer makeMap(size_t capacity) { return MapPointer(fmap_create(static_cast<uint32_t>(capacity))); }

void add(FeatureMap& map, std::span<const int16_t> samples) {
    fmap_add_data(&map, samples.data(), static_cast<int32_t>(samples.size()));
}

// Frame by frame, so that the map is left in the middle of a group.
void addFrames(FeatureMap& map, std::span<const int16_t> samples, size_t frames) {
    for (size_t i = 0; i < frames; ++i) add(map, samples.subspan(i * 512, 512));
}

// The plain engine's texts of the first frames of the samples.
std::pair<std::string, std::string> plainTexts(size_t capacity, std::span<const int16_t> samples, size_t frames) {
    plain::Map map(static_cast<int>(capacity));
    map.add(samples.first(frames * 512));
    map.flush();
    return {map.text(1), map.text(2)};
}

std::pair<std::string, std::string> textsOf(const FeatureMap& map) { return {map.coder1.text, map.coder2.text}; }

} // namespace

TEST_P(Lanes, GiveThePlainEnginesStringsForOddChunks) {
    const std::vector<uint8_t> pcm = audioBytes(Audio::kMusic, 2, 44100, 0, 7500);
    const plain::CodeStrings expected = plain::codeStrings(pcm, 2, 44100, 7000, 1024);
    for (const size_t chunkBytes : {4U, 20U, 508U, 1028U, 4404U, 40004U, 1000004U})
        EXPECT_EQ(kvxtest::libraryCodeStrings(pcm, 2, 44100, 7000, chunkBytes), expected) << chunkBytes;
}

TEST_P(Lanes, TakeCapacitiesThatAreNoMultipleOfAGroup) {
    const std::vector<int16_t> samples = audioSamples(Audio::kMusic, 1, 22050, 0, 8000);
    for (size_t capacity = 257; capacity < 257 + kGroup + 2; ++capacity) {
        const MapPointer map = makeMap(capacity);
        add(*map, samples);
        EXPECT_EQ(map->framesSeen, static_cast<int32_t>(capacity));
        fmap_drain(map.get());
        EXPECT_EQ(map->finished, 1);
        EXPECT_EQ(textsOf(*map), plainTexts(capacity, samples, capacity)) << capacity;
        EXPECT_GT(std::string(map->coder1.text).size(), 20U);
    }
}

TEST_P(Lanes, FlushInTheMiddleOfAGroup) {
    const std::vector<int16_t> samples = audioSamples(Audio::kMusic, 1, 22050, 0, 8000);
    for (size_t frames = 230; frames < 230 + kGroup; ++frames) {
        SCOPED_TRACE(frames);
        const auto expected = plainTexts(1000, samples, frames);
        const MapPointer drained = makeMap(1000);
        const MapPointer flushed = makeMap(1000);
        for (FeatureMap* map : {drained.get(), flushed.get()}) {
            addFrames(*map, samples, frames);
            EXPECT_EQ(map->framesSeen, static_cast<int32_t>(frames)) << "a frame counts as soon as it is complete";
        }
        fmap_drain(drained.get());
        while (fmap_flush(flushed.get()) == 0) {
        }
        EXPECT_EQ(textsOf(*drained), expected);
        EXPECT_EQ(textsOf(*flushed), expected);
        EXPECT_EQ(drained->codeTicks, static_cast<int32_t>(frames) + 6);
        EXPECT_EQ(flushed->codeTicks, drained->codeTicks);
    }
}

TEST_P(Lanes, StartAnewAfterAResetInTheMiddleOfAGroup) {
    const std::vector<int16_t> noise = audioSamples(Audio::kNoise, 1, 22050, 0, 5000);
    const std::vector<int16_t> music = audioSamples(Audio::kMusic, 1, 22050, 0, 8000);
    for (const size_t before : {size_t{1}, kGroup - 1, kGroup + 3, 150 + kGroup}) {
        const MapPointer map = makeMap(300);
        addFrames(*map, noise, before);
        add(*map, std::span(noise).first(100));
        fmap_reset(map.get());
        EXPECT_EQ(map->framesSeen, 0);
        addFrames(*map, music, 300);
        fmap_drain(map.get());
        EXPECT_EQ(textsOf(*map), plainTexts(300, music, 300)) << before;
    }
}

TEST_P(Lanes, TellNobodyOfFramesThatWait) {
    // A map that is full, whose stages are asked, or that was given much at once has taken all its frames in.
    const std::vector<int16_t> samples = audioSamples(Audio::kMusic, 1, 22050, 0, 8000);
    const MapPointer full = makeMap(221);
    addFrames(*full, samples, 221);
    EXPECT_EQ(full->codeTicks, 221 - 106);
    const MapPointer asked = makeMap(300);
    addFrames(*asked, samples, 221);
    fmap_code_tick(asked.get(), nullptr);
    EXPECT_EQ(asked->codeTicks, 221 - 106);
    const MapPointer atOnce = makeMap(300);
    add(*atOnce, std::span(samples).first(221 * 512));
    EXPECT_EQ(atOnce->codeTicks, 221 - 106);
}

TEST_P(Lanes, GiveThePlainEnginesStringsOfAudioThatEndsEarly) {
    const std::vector<uint8_t> pcm = audioBytes(Audio::kMusic, 1, 22050, 0, 9000);
    for (const size_t bytes : {pcm.size(), pcm.size() - 3000, pcm.size() - 9504})
        EXPECT_EQ(kvxtest::libraryCodeStrings(std::span(pcm).first(bytes), 1, 22050, 30500, 1024),
                  plain::codeStrings(std::span(pcm).first(bytes), 1, 22050, 30500, 1024));
}

TEST_P(Lanes, NoteTheVectorOfEachLetterWhereAskedTo) {
    const std::vector<int16_t> samples = audioSamples(Audio::kMusic, 1, 22050, 0, 12000);
    const size_t frames = samples.size() / 512;
    std::vector<int32_t> expected; // from a map that takes each frame in at once
    const MapPointer single = makeMap(1000);
    for (size_t i = 0; i < frames; ++i) {
        addFrames(*single, std::span(samples).subspan(i * 512), 1);
        fmap_code_tick(single.get(), nullptr);
        expected.resize(static_cast<size_t>(single->coder1.length), single->codeTicks);
    }
    const MapPointer map(fmap_create_endless(1000));
    addFrames(*map, samples, frames);
    fmap_code_tick(map.get(), nullptr);
    const std::vector<int32_t> ticks(map->coder1.ticks, map->coder1.ticks + map->coder1.length);
    EXPECT_EQ(ticks, expected);
    EXPECT_GT(ticks.size(), 30U);
}
