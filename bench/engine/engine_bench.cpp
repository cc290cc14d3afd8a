// SPDX-License-Identifier: Apache-2.0
// The fingerprint engine: whole sessions and single stages, for each instruction set of the processor. Every result is
// compared with the plain engine's before it is timed.
#include "fingerprint/audio.h"
#include "fingerprint/engine/lanes.h"
#include "fingerprint/plain/ticks.h"
#include "recording.h"

#include <benchmark/benchmark.h>
#include <string>

namespace {

using benchmark::State;

constexpr size_t kGroupSamples = kvx::kGroupFrames * kvx::kFrameSamples;

// Runs the engine on the kernels that the measurement's argument names; skips what the processor lacks.
class UsingLanes {
  public:
    explicit UsingLanes(State& state) {
        const auto available = kvx::availableLanes();
        const auto index = static_cast<size_t>(state.range(0));
        if (index >= available.size()) {
            state.SkipWithError("this processor lacks them");
            return;
        }
        kvx::useLanes(available[index]);
        state.SetLabel(available[index]->name);
        usable_ = true;
    }
    ~UsingLanes() { kvx::useLanes(nullptr); }
    UsingLanes(const UsingLanes&) = delete;
    UsingLanes& operator=(const UsingLanes&) = delete;
    bool usable() const { return usable_; }

  private:
    bool usable_ = false;
};

void everyLanes(benchmark::internal::Benchmark* measurement) {
    for (size_t i = 0; i < kvx::availableLanes().size(); ++i) measurement->Arg(static_cast<int64_t>(i));
}

const std::vector<int16_t>& monoSamples() {
    static const std::vector<int16_t> samples =
        kvxtest::audioSamples(kvxtest::Audio::kMusic, 1, kvx::kEngineRateHz, 0, 30500);
    return samples;
}

// Feature vectors of the first group of the recording.
std::vector<kvx::FeatureVector> groupFeatures() {
    std::vector<kvx::FeatureVector> features(kvx::kGroupFrames);
    kvx::featuresOfGroup(kvxtest::framesAt(monoSamples().data()), features.data());
    return features;
}

void session(State& state) {
    const UsingLanes lanes(state);
    if (!lanes.usable()) return;
    const kvxtest::Handle handle = kvxtest::makeHandle();
    bench::codeRecording(handle.get());
    static const kvxtest::plain::CodeStrings expected = bench::plainCodes();
    if (kvxtest::codeStringsOf(*handle) != expected) return state.SkipWithError("other strings than the plain engine");
    while (state.KeepRunning()) bench::codeRecording(handle.get());
}
BENCHMARK(session)->Apply(everyLanes)->Unit(benchmark::kMillisecond);

void featuresOfAGroup(State& state) {
    const UsingLanes lanes(state);
    if (!lanes.usable()) return;
    std::vector<kvx::FeatureVector> features = groupFeatures();
    for (size_t i = 0; i < features.size(); ++i) {
        const std::span frame = std::span(monoSamples()).subspan(i * kvx::kFrameSamples, kvx::kFrameSamples);
        if (features[i] != kvxtest::plain::featureOf(frame))
            return state.SkipWithError("other features than the plain engine");
    }
    while (state.KeepRunning()) {
        kvx::featuresOfGroup(kvxtest::framesAt(monoSamples().data()), features.data());
        benchmark::DoNotOptimize(features.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kvx::kGroupFrames));
}
BENCHMARK(featuresOfAGroup)->Apply(everyLanes);

void nearestRowsOfAGroup(State& state) {
    const UsingLanes lanes(state);
    if (!lanes.usable()) return;
    const std::vector<kvx::FeatureVector> vectors = groupFeatures();
    const kvx::VectorGroup group = kvxtest::groupOf(vectors);
    int32_t rows[kvx::kGroupFrames];
    kvx::nearestRows(kvx::marsyas_codebook1, group, rows);
    for (size_t i = 0; i < vectors.size(); ++i)
        if (rows[i] != kvxtest::plain::nearestRow(1, vectors[i]))
            return state.SkipWithError("other rows than the plain engine");
    while (state.KeepRunning()) {
        kvx::nearestRows(kvx::marsyas_codebook1, group, rows);
        benchmark::DoNotOptimize(rows);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kvx::kGroupFrames));
}
BENCHMARK(nearestRowsOfAGroup)->Apply(everyLanes);

// Mean, normalisation and smoothing of one vector after the other.
void stages(State& state) {
    FeatureMap* map = fmap_create(1000);
    kvxtest::plain::MeanStage mean;
    kvxtest::plain::NormStage norm;
    kvxtest::plain::SmoothStage smooth;
    const std::vector<kvx::FeatureVector> vectors = groupFeatures();
    const auto tick = [&](size_t i) -> const kvx::FeatureVector* {
        const kvx::FeatureVector* vector = fmap_norm_tick(map, fmap_mean_tick(map, &vectors[i % vectors.size()]));
        return vector == nullptr ? nullptr : fmap_conv_tick(map, vector);
    };
    size_t i = 0;
    for (; i < 300; ++i) {
        const kvx::FeatureVector* vector = tick(i);
        const auto normalised = norm.tick(mean.tick(vectors[i % vectors.size()]));
        const auto expected = normalised ? smooth.tick(normalised) : std::nullopt;
        if ((vector != nullptr) != expected.has_value() || (vector != nullptr && *vector != *expected)) {
            state.SkipWithError("other vectors than the plain engine");
            break;
        }
    }
    while (state.KeepRunning()) benchmark::DoNotOptimize(tick(i++));
    state.SetItemsProcessed(state.iterations());
    fmap_destroy(map);
}
BENCHMARK(stages);

void mixAndResample(State& state) {
    const auto rateHz = static_cast<int32_t>(state.range(0));
    const std::vector<int16_t> input = kvxtest::audioSamples(kvxtest::Audio::kMusic, 2, rateHz, 0, 100);
    const auto frames = static_cast<int32_t>(input.size() / 2);
    const kvxtest::Handle handle = kvxtest::makeHandle();
    std::vector<int16_t> work;
    std::vector<int16_t> output(input.size());
    const auto run = [&] {
        work = input; // it is changed
        KVXResamplerInit(handle.get(), rateHz, kvx::kEngineRateHz);
        return kvx::mixAndResample(*handle, work.data(), frames, output.data(), static_cast<uint32_t>(output.size()));
    };
    const uint32_t written = run();
    kvxtest::plain::Resampler expected(rateHz, kvx::kEngineRateHz);
    if (std::vector<int16_t>(output.begin(), output.begin() + written) !=
        expected.resample(kvxtest::plain::mixedToMono(input), output.size()))
        return state.SkipWithError("other samples than the plain engine");
    while (state.KeepRunning()) benchmark::DoNotOptimize(run());
    state.SetItemsProcessed(state.iterations() * frames);
}
BENCHMARK(mixAndResample)->Arg(32000)->Arg(44100)->Arg(48000);

static_assert(kGroupSamples < 30 * kvx::kEngineRateHz);

} // namespace
