#include "coding/recording_coder.h"

#include "fingerprint/feature_map.h"

#include <algorithm>
#include <limits>
#include <new>

namespace tarn::server {

namespace {

constexpr auto kFrameSamples = static_cast<int32_t>(kvx::kFrameSamples);
// Sizes the maps' text buffers. Letters are taken out after every frame, and one frame ends one run, whose letters are
// as many as the logarithm of its length: far fewer than this.
constexpr uint32_t kTextFrames = 256;

// Rounded to the nearest, as a quiet copy's samples are.
int16_t halved(int16_t sample, int times) {
    const int half = 1 << (times - 1);
    return static_cast<int16_t>((sample + half) >> times);
}

// Moves the letters that the coder has written since the last call.
void takeLetters(kvx::CodebookState& coder, uint32_t frame, CodeString& out) {
    if (coder.length == 0) return;
    const auto count = static_cast<size_t>(coder.length);
    out.letters.append(coder.text, count);
    out.frames.insert(out.frames.end(), count, frame);
    coder.length = 0;
}

void takeLetters(FeatureMap& map, std::array<CodeString, kCodebooks>& out) {
    const auto frame = static_cast<uint32_t>(map.codeTicks);
    takeLetters(map.coder1, frame, out[0]);
    takeLetters(map.coder2, frame, out[1]);
}

} // namespace

void RecordingCoder::MapDestroy::operator()(FeatureMap* map) const { fmap_destroy(map); }

RecordingCoder::RecordingCoder() {
    for (Phase& phase : phases_) {
        phase.map.reset(fmap_create(kTextFrames));
        if (phase.map == nullptr) throw std::bad_alloc();
    }
    start();
}

RecordingCoder::~RecordingCoder() = default;

void RecordingCoder::start() {
    for (size_t p = 0; p < kPhases.size(); ++p) {
        FeatureMap& map = *phases_[p].map;
        map.capacity = static_cast<int32_t>(kTextFrames); // of the text buffers that the reset clears
        fmap_reset(&map);
        map.capacity = std::numeric_limits<int32_t>::max(); // never full
        phases_[p].samplesToSkip = kPhases[p];
    }
    codes_ = {};
}

void RecordingCoder::add(std::span<const int16_t> samples) {
    for (size_t p = 0; p < kPhases.size(); ++p) {
        Phase& phase = phases_[p];
        FeatureMap& map = *phase.map;
        const size_t skipped = std::min<size_t>(phase.samplesToSkip, samples.size());
        phase.samplesToSkip -= static_cast<uint32_t>(skipped);
        std::span<const int16_t> rest = samples.subspan(skipped);
        std::vector<int16_t> quieter;
        if (kHalvings[p] > 0) {
            quieter.assign(rest.begin(), rest.end());
            for (int16_t& sample : quieter) sample = halved(sample, kHalvings[p]);
            rest = quieter;
        }
        while (!rest.empty()) {
            // To the end of the frame and no further, so that the frame of each letter is known.
            const size_t count = std::min(rest.size(), static_cast<size_t>(kFrameSamples - map.fill));
            fmap_add_data(&map, rest.data(), static_cast<int32_t>(count));
            takeLetters(map, codes_[p]);
            rest = rest.subspan(count);
        }
    }
}

RecordingCodes RecordingCoder::finish() {
    for (size_t p = 0; p < kPhases.size(); ++p) {
        FeatureMap& map = *phases_[p].map;
        while (fmap_flush(&map) == 0) takeLetters(map, codes_[p]);
    }
    RecordingCodes codes = std::move(codes_);
    start();
    return codes;
}

RecordingCodes codeRecording(std::span<const int16_t> samples) {
    RecordingCoder coder;
    coder.add(samples);
    return coder.finish();
}

} // namespace tarn::server
