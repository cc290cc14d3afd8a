// SPDX-License-Identifier: Apache-2.0
#include "coding/recording_coder.h"

#include <algorithm>

namespace tarn::server {

namespace {

static_assert(kCodebooks == kvx::kStreamCodebooks);

// Rounded to the nearest, as a quiet copy's samples are.
int16_t halved(int16_t sample, int times) {
    const int half = 1 << (times - 1);
    return static_cast<int16_t>((sample + half) >> times);
}

// Where a stream puts its letters.
auto appendTo(std::array<CodeString, kCodebooks>& codes) {
    return [&codes](const kvx::StreamLetters& letters) {
        for (size_t c = 0; c < kCodebooks; ++c) {
            codes[c].letters += letters[c].letters;
            codes[c].frames.insert(codes[c].frames.end(), letters[c].frames.begin(), letters[c].frames.end());
        }
    };
}

} // namespace

RecordingCoder::RecordingCoder() { start(); }

void RecordingCoder::start() {
    for (size_t v = 0; v < variants_.size(); ++v) variants_[v].samplesToSkip = kPhases[v];
    codes_ = {};
}

void RecordingCoder::add(std::span<const int16_t> samples) {
    for (size_t v = 0; v < variants_.size(); ++v) {
        Variant& variant = variants_[v];
        const size_t skipped = std::min<size_t>(variant.samplesToSkip, samples.size());
        variant.samplesToSkip -= static_cast<uint32_t>(skipped);
        auto rest = samples.subspan(skipped);
        if (kHalvings[v] == 0) {
            variant.stream.add(rest, appendTo(codes_[v]));
            continue;
        }
        std::array<int16_t, 4096> quieter;
        while (!rest.empty()) {
            const auto piece = rest.first(std::min(rest.size(), quieter.size()));
            std::transform(piece.begin(), piece.end(), quieter.begin(),
                           [v](int16_t sample) { return halved(sample, kHalvings[v]); });
            variant.stream.add(std::span(quieter).first(piece.size()), appendTo(codes_[v]));
            rest = rest.subspan(piece.size());
        }
    }
}

RecordingCodes RecordingCoder::finish() {
    for (size_t v = 0; v < variants_.size(); ++v) variants_[v].stream.finish(appendTo(codes_[v]));
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
