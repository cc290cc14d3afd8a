// SPDX-License-Identifier: Apache-2.0
#include "audio/ffmpeg_samples.h"

#include "audio/audio_error.h"
#include "audio/channels.h"

namespace tarn::server {

namespace {

int16_t sixteenBits(uint8_t value) { return static_cast<int16_t>((value - 128) * 256); }
int16_t sixteenBits(int16_t value) { return value; }
int16_t sixteenBits(int32_t value) { return static_cast<int16_t>(value >> 16); }
int16_t sixteenBits(int64_t value) { return static_cast<int16_t>(value >> 48); }
int16_t sixteenBits(float value) { return clipped(value); }
int16_t sixteenBits(double value) { return clipped(static_cast<float>(value)); }

// A plane holds one channel; a frame that is not planar has one plane with all of them, interleaved.
template <class Value>
void append(const AVFrame& frame, bool planar, size_t first, std::vector<int16_t>& samples) {
    const auto channels = static_cast<size_t>(frame.ch_layout.nb_channels);
    const auto frames = static_cast<size_t>(frame.nb_samples);
    const size_t begin = samples.size();
    samples.resize(begin + (frames - first) * channels);
    int16_t* to = samples.data() + begin;
    if (!planar) {
        const auto* from = reinterpret_cast<const Value*>(frame.extended_data[0]) + first * channels;
        for (size_t i = 0; i < (frames - first) * channels; ++i) to[i] = sixteenBits(from[i]);
        return;
    }
    for (size_t c = 0; c < channels; ++c) {
        const auto* from = reinterpret_cast<const Value*>(frame.extended_data[c]) + first;
        for (size_t i = 0; i < frames - first; ++i) to[i * channels + c] = sixteenBits(from[i]);
    }
}

} // namespace

void appendSamples(const AVFrame& frame, size_t first, std::vector<int16_t>& samples) {
    switch (frame.format) {
    case AV_SAMPLE_FMT_U8:
    case AV_SAMPLE_FMT_U8P:
        return append<uint8_t>(frame, frame.format == AV_SAMPLE_FMT_U8P, first, samples);
    case AV_SAMPLE_FMT_S16:
    case AV_SAMPLE_FMT_S16P:
        return append<int16_t>(frame, frame.format == AV_SAMPLE_FMT_S16P, first, samples);
    case AV_SAMPLE_FMT_S32:
    case AV_SAMPLE_FMT_S32P:
        return append<int32_t>(frame, frame.format == AV_SAMPLE_FMT_S32P, first, samples);
    case AV_SAMPLE_FMT_S64:
    case AV_SAMPLE_FMT_S64P:
        return append<int64_t>(frame, frame.format == AV_SAMPLE_FMT_S64P, first, samples);
    case AV_SAMPLE_FMT_FLT:
    case AV_SAMPLE_FMT_FLTP:
        return append<float>(frame, frame.format == AV_SAMPLE_FMT_FLTP, first, samples);
    case AV_SAMPLE_FMT_DBL:
    case AV_SAMPLE_FMT_DBLP:
        return append<double>(frame, frame.format == AV_SAMPLE_FMT_DBLP, first, samples);
    default:
        throw AudioError("its samples are of an unknown kind");
    }
}

} // namespace tarn::server
