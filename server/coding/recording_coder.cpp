#include "coding/recording_coder.h"

#include "fingerprint/feature_map.h"

#include <algorithm>
#include <limits>
#include <new>

namespace tarn::server {

namespace {

// A piece is coded and its letters taken out before the next. With what was waiting it makes two groups of frames, and
// so many frames end as many runs: the first as long as the recording may be, the others no longer than the piece.
constexpr size_t kPieceSamples = kvx::kGroupFrames * kvx::kFrameSamples;
// Sizes the maps' text buffers. The letters of a run are as many as the logarithm of its length: at most 21 for the
// first run, and fewer than its vectors for any other.
constexpr uint32_t kTextFrames = 256;

// Rounded to the nearest, as a quiet copy's samples are.
int16_t halved(int16_t sample, int times) {
    const int half = 1 << (times - 1);
    return static_cast<int16_t>((sample + half) >> times);
}

// Moves the letters that the coder has written since the last call.
void moveLetters(kvx::CodebookState& coder, CodeString& out) {
    if (coder.length == 0) return;
    const auto count = static_cast<size_t>(coder.length);
    out.letters.append(coder.text, count);
    out.frames.insert(out.frames.end(), coder.ticks, coder.ticks + count);
    coder.length = 0;
}

} // namespace

void RecordingCoder::MapDestroy::operator()(FeatureMap* map) const { fmap_destroy(map); }

RecordingCoder::RecordingCoder() {
    for (Phase& phase : phases_) {
        phase.map.reset(fmap_create(kTextFrames));
        if (phase.map == nullptr) throw std::bad_alloc();
        for (std::vector<int32_t>& ticks : phase.ticks) ticks.resize(kTextFrames);
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
        map.coder1.ticks = phases_[p].ticks[0].data();
        map.coder2.ticks = phases_[p].ticks[1].data();
        phases_[p].samplesToSkip = kPhases[p];
    }
    codes_ = {};
}

void RecordingCoder::takeLetters(size_t variant) {
    moveLetters(phases_[variant].map->coder1, codes_[variant][0]);
    moveLetters(phases_[variant].map->coder2, codes_[variant][1]);
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
            const size_t count = std::min(rest.size(), kPieceSamples);
            fmap_add_data(&map, rest.data(), static_cast<int32_t>(count));
            takeLetters(p);
            rest = rest.subspan(count);
        }
    }
}

RecordingCodes RecordingCoder::finish() {
    for (size_t p = 0; p < kPhases.size(); ++p) {
        FeatureMap& map = *phases_[p].map;
        while (fmap_flush(&map) == 0) takeLetters(p);
        takeLetters(p);
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
