// SPDX-License-Identifier: Apache-2.0
#include "coding/pcm_preparation.h"

#include "kvx.h"
#include "model/frames.h"

#include <algorithm>
#include <stdexcept>

namespace tarn::server {

namespace {

constexpr int kMinRateHz = 1000;

// The mean of each frame's channels, rounded toward minus infinity, as the library rounds pairs.
void mixMany(const int16_t* pcm, size_t frames, size_t channels, int16_t* mono) {
    const auto divisor = static_cast<int64_t>(std::max<size_t>(channels, 1));
    for (size_t i = 0; i < frames; ++i) {
        int64_t sum = 0;
        for (size_t c = 0; c < channels; ++c) sum += pcm[i * channels + c];
        const int64_t floor = sum >= 0 ? sum / divisor : -((-sum + divisor - 1) / divisor);
        mono[i] = static_cast<int16_t>(floor);
    }
}

} // namespace

PcmPreparation::PcmPreparation(int rateHz, int channels) : rateHz_(rateHz), channels_(static_cast<size_t>(channels)) {
    if (rateHz < kMinRateHz) throw std::invalid_argument("PCM must have a rate of 1000 Hz or more");
    if (channels < 1) throw std::invalid_argument("PCM must have a channel or more");
    if (rateHz == kEngineRateHz) return;
    resampler_ = makeLibraryHandle(); // the library keeps a resampler in its handle
    KVXResamplerInit(resampler_.get(), rateHz, kEngineRateHz);
}

std::span<const int16_t> PcmPreparation::prepare(std::span<const int16_t> pcm) {
    const size_t frames = pcm.size() / channels_;
    std::span<const int16_t> mono = pcm.first(frames * channels_);
    if (channels_ == 2) {
        mono_.assign(mono.begin(), mono.end());
        KVXMixChannels(mono_.data(), static_cast<uint32_t>(mono_.size()));
        mono = std::span<const int16_t>(mono_).first(frames);
    } else if (channels_ > 2) {
        mono_.resize(frames);
        mixMany(pcm.data(), frames, channels_, mono_.data());
        mono = mono_;
    }
    if (resampler_ == nullptr || frames == 0) return mono;
    // The resampler's step is cut to 1/65536, which gives up to 1/2972 more samples at the lowest rate; and the
    // position carried over may add one.
    const uint64_t exact = static_cast<uint64_t>(frames) * kEngineRateHz / static_cast<uint64_t>(rateHz_);
    const uint64_t capacity = exact + exact / 2048 + 2;
    resampled_.resize(capacity);
    const uint32_t written = KVXResample(resampler_.get(), mono.data(), resampled_.data(), static_cast<int32_t>(frames),
                                         static_cast<uint32_t>(capacity));
    return std::span<const int16_t>(resampled_).first(written);
}

} // namespace tarn::server
