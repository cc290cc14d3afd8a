// SPDX-License-Identifier: Apache-2.0
#include "audio/ffmpeg_decoder.h"

#include "audio/channels.h"
#include "audio/ffmpeg_file.h"
#include "audio/ffmpeg_samples.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <vector>

namespace tarn::server {

namespace {

constexpr size_t kPieceFrames = 8192; // at least, but for the last
constexpr uint32_t kMaxNumber = 65535;

uint32_t numberOf(const std::string& text) {
    uint32_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number); // "3/12" is 3, "2001-05-04" is 2001
    return number <= kMaxNumber ? number : 0;
}

} // namespace

struct FfmpegDecoder::Impl {
    Impl(const FfmpegLibrary& used, FileDescriptor descriptor) : library(used), file(used, std::move(descriptor)) {}

    const FfmpegLibrary& library;
    FfmpegFile file;
    int rateHz = 0;
    size_t fileChannels = 0;
    int64_t skipTo = INT64_MIN; // in the stream's time base: frames before are left out
    uint64_t goodFrames = 0;
    uint64_t badPackets = 0;
    uint64_t samplesGiven = 0; // of one channel
    bool ended = false;
    bool fromStart = true;
    std::vector<int16_t> samples;

    int channels() const { return fileChannels == 1 ? 1 : 2; }

    // Of the next frame, appended to samples; false at the end of the stream.
    bool decode();
    // How many samples of the frame lie before the place at which reading begins.
    size_t skippedOf(const AVFrame& frame) const;
    void expectWhole() const;
};

size_t FfmpegDecoder::Impl::skippedOf(const AVFrame& frame) const {
    if (skipTo == INT64_MIN || frame.best_effort_timestamp == AV_NOPTS_VALUE) return 0;
    const AVRational base = file.stream().time_base;
    const double seconds = static_cast<double>(skipTo - frame.best_effort_timestamp) * base.num / base.den;
    const double count = std::clamp(seconds * rateHz, 0.0, static_cast<double>(frame.nb_samples));
    return static_cast<size_t>(count);
}

bool FfmpegDecoder::Impl::decode() {
    const AVFrame* frame = file.nextFrame(badPackets);
    if (frame == nullptr) return false;
    ++goodFrames;
    if (frame->sample_rate != rateHz || static_cast<size_t>(frame->ch_layout.nb_channels) != fileChannels) {
        throw AudioError("its rate or its channels change in its middle");
    }
    const size_t skipped = skippedOf(*frame);
    if (skipped < static_cast<size_t>(frame->nb_samples)) appendSamples(*frame, skipped, samples);
    return true;
}

// A file that was cut states more than it holds. What a container only estimates is not held against it.
void FfmpegDecoder::Impl::expectWhole() const {
    if (goodFrames == 0) throw AudioError("damaged: none of its audio can be decoded");
    if (badPackets > goodFrames) throw AudioError("damaged: most of its audio cannot be decoded");
    const uint64_t stated = file.statedMs();
    const uint64_t given = samplesGiven * 1000 / static_cast<uint64_t>(rateHz);
    if (fromStart && file.lengthIsCertain() && given + 2000 < stated - stated / 20) {
        throw AudioError("damaged: it ends after " + std::to_string(given / 1000) + " of " +
                         std::to_string(stated / 1000) + " s");
    }
}

FfmpegDecoder::FfmpegDecoder(const FfmpegLibrary& library, FileDescriptor file)
    : impl_(std::make_unique<Impl>(library, std::move(file))) {
    const AVCodecParameters& parameters = *impl_->file.stream().codecpar;
    expectRate(parameters.sample_rate);
    if (parameters.ch_layout.nb_channels < 1) throw AudioError("it has no channels");
    impl_->rateHz = parameters.sample_rate;
    impl_->fileChannels = static_cast<size_t>(parameters.ch_layout.nb_channels);
    // The decoder may know better than the container, as with AAC: its first frame decides.
    const AVFrame* first = impl_->file.peekFrame(impl_->badPackets);
    if (first == nullptr) throw AudioError("damaged: none of its audio can be decoded");
    expectRate(first->sample_rate);
    impl_->rateHz = first->sample_rate;
    impl_->fileChannels = static_cast<size_t>(std::max(1, first->ch_layout.nb_channels));
}

FfmpegDecoder::~FfmpegDecoder() = default;

int FfmpegDecoder::rateHz() const { return impl_->rateHz; }
int FfmpegDecoder::channels() const { return impl_->channels(); }
uint64_t FfmpegDecoder::statedMs() const { return impl_->file.statedMs(); }

bool FfmpegDecoder::lossless() const { return impl_->file.lossless(); }

void FfmpegDecoder::startAt(uint64_t ms) {
    if (ms == 0) return;
    impl_->skipTo = impl_->file.seek(ms);
    impl_->fromStart = false;
}

std::span<const int16_t> FfmpegDecoder::read() {
    Impl& state = *impl_;
    state.samples.clear();
    while (!state.ended && state.samples.size() < kPieceFrames * state.fileChannels) state.ended = !state.decode();
    if (state.samples.empty()) {
        state.expectWhole();
        return {};
    }
    state.samplesGiven += state.samples.size() / state.fileChannels;
    return mixed(state.samples, state.fileChannels);
}

Tags FfmpegDecoder::tags() const {
    Tags tags;
    tags.title = impl_->file.tag("title");
    tags.artist = impl_->file.tag("artist");
    tags.album = impl_->file.tag("album");
    tags.albumArtist = impl_->file.tag("album_artist");
    tags.number = numberOf(impl_->file.tag("track"));
    tags.year = numberOf(impl_->file.tag("date"));
    return tags;
}

} // namespace tarn::server
