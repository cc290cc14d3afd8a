// SPDX-License-Identifier: Apache-2.0
#include "coding/recording_coder.h"

#include <algorithm>

namespace tarn::server {

namespace {

static_assert(kCodebooks == kvx::kStreamCodebooks);

// Rounded to the nearest, as the samples of a quiet copy would be.
int16_t halved(int16_t sample, int times) {
    const int half = 1 << (times - 1);
    return static_cast<int16_t>((sample + half) >> times);
}

// What a stream calls with its letters: appends them to codes.
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
    for (size_t i = 0; i < streams_.size(); ++i) streams_[i].samplesToSkip = kCodings[i].phaseSamples;
    codes_ = {};
}

void RecordingCoder::add(std::span<const int16_t> samples) {
    for (size_t i = 0; i < streams_.size(); ++i) {
        Stream& stream = streams_[i];
        const size_t skipped = std::min<size_t>(stream.samplesToSkip, samples.size());
        stream.samplesToSkip -= static_cast<uint32_t>(skipped);
        auto rest = samples.subspan(skipped);
        const int halvings = kCodings[i].halvings;
        if (halvings == 0) {
            stream.letters.add(rest, appendTo(codes_[i]));
            continue;
        }
        std::array<int16_t, 4096> quieter;
        while (!rest.empty()) {
            const auto piece = rest.first(std::min(rest.size(), quieter.size()));
            std::transform(piece.begin(), piece.end(), quieter.begin(),
                           [halvings](int16_t sample) { return halved(sample, halvings); });
            stream.letters.add(std::span(quieter).first(piece.size()), appendTo(codes_[i]));
            rest = rest.subspan(piece.size());
        }
    }
}

RecordingCodes RecordingCoder::finish() {
    for (size_t i = 0; i < streams_.size(); ++i) streams_[i].letters.finish(appendTo(codes_[i]));
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
