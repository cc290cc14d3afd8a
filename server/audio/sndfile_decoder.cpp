// SPDX-License-Identifier: Apache-2.0
#include "audio/sndfile_decoder.h"

#include "audio/channels.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace tarn::server {

namespace {

constexpr size_t kPieceSamples = 16384; // at most, of all channels together
constexpr sf_count_t kMinPieceFrames = 1024;

struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

// Formats whose decoder gives values that may lie beyond full scale.
bool isFloating(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_VORBIS:
    case SF_FORMAT_OPUS:
    case SF_FORMAT_MPEG_LAYER_I:
    case SF_FORMAT_MPEG_LAYER_II:
    case SF_FORMAT_MPEG_LAYER_III:
        return true;
    default:
        return false;
    }
}

bool isLossless(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_ALAC_16:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
    case SF_FORMAT_ALAC_32:
        return true;
    default:
        return false;
    }
}

// For other containers the library estimates the length, or takes it from the bytes that are there.
bool statesItsLength(int format) { return (format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC; }

// Why the library has not opened a file. If its last guess, MP3, fails, it says "File does not exist" of a file that
// exists.
std::string reasonNotOpened() {
    std::string reason = sf_strerror(nullptr);
    if (reason.starts_with("File does not exist")) reason = "Format not recognised.";
    while (reason.ends_with('.')) reason.pop_back(); // more may follow
    return reason;
}

} // namespace

struct SndfileDecoder::Impl {
    FileDescriptor descriptor; // outlives the file that reads it
    std::unique_ptr<SNDFILE, Close> file;
    SF_INFO info{};
    bool floating = false;
    size_t fileChannels = 0;
    uint64_t position = 0; // frames
    sf_count_t pieceFrames = 0;
    std::vector<float> floats;    // a piece, if the decoder gives floating-point values
    std::vector<int16_t> samples; // a piece

    // Room for a piece, or for all of a file that is known to be shorter.
    void makeRoom() {
        const auto most = static_cast<sf_count_t>(std::max<size_t>(1, kPieceSamples / fileChannels));
        pieceFrames = std::clamp(info.frames, std::min(kMinPieceFrames, most), most);
        samples.resize(static_cast<size_t>(pieceFrames) * fileChannels);
        if (floating) floats.resize(samples.size());
    }

    // Reads the next piece into samples; returns its number of frames.
    size_t decode() {
        const sf_count_t got = floating ? sf_readf_float(file.get(), floats.data(), pieceFrames)
                                        : sf_readf_short(file.get(), samples.data(), pieceFrames);
        const size_t count = got > 0 ? static_cast<size_t>(std::min(got, pieceFrames)) : 0;
        const size_t converted = floating ? count * fileChannels : 0;
        const float* from = floats.data();
        int16_t* to = samples.data();
        for (size_t i = 0; i < converted; ++i) to[i] = clipped(from[i]);
        return count;
    }
};

SndfileDecoder::SndfileDecoder(FileDescriptor file) : impl_(std::make_unique<Impl>()) {
    SF_INFO& info = impl_->info;
    impl_->file.reset(sf_open_fd(file.get(), SFM_READ, &info, SF_FALSE));
    if (!impl_->file) throw UnknownFormat("not readable as audio: " + reasonNotOpened());
    impl_->descriptor = std::move(file);
    expectRate(info.samplerate);
    if (info.channels < 1) throw AudioError("it has no channels");
    impl_->fileChannels = static_cast<size_t>(info.channels);
    impl_->floating = isFloating(info.format);
    impl_->makeRoom();
}

SndfileDecoder::~SndfileDecoder() = default;

int SndfileDecoder::rateHz() const { return impl_->info.samplerate; }
int SndfileDecoder::channels() const { return std::min(impl_->info.channels, 2); }

uint64_t SndfileDecoder::statedMs() const {
    const SF_INFO& info = impl_->info;
    if (info.frames <= 0 || info.frames == SF_COUNT_MAX) return 0;
    return static_cast<uint64_t>(static_cast<double>(info.frames) * 1000 / info.samplerate);
}

bool SndfileDecoder::lossless() const { return isLossless(impl_->info.format); }

void SndfileDecoder::startAt(uint64_t ms) {
    const auto frame = static_cast<sf_count_t>(ms * static_cast<uint64_t>(rateHz()) / 1000);
    const sf_count_t place = impl_->info.seekable != 0 ? sf_seek(impl_->file.get(), frame, SEEK_SET) : -1;
    if (place < 0) throw AudioError("it cannot be read from its middle");
    impl_->position = static_cast<uint64_t>(place);
}

std::span<const int16_t> SndfileDecoder::read() {
    Impl& state = *impl_;
    const size_t frames = state.decode();
    state.position += frames;
    if (frames == 0) {
        if (sf_error(state.file.get()) != SF_ERR_NO_ERROR) {
            throw AudioError(std::string("damaged: ") + sf_strerror(state.file.get()));
        }
        const auto stated = static_cast<uint64_t>(std::max<sf_count_t>(state.info.frames, 0));
        if (statesItsLength(state.info.format) && state.info.frames < SF_COUNT_MAX && state.position < stated) {
            throw AudioError("damaged: it ends after " + std::to_string(state.position) + " of " +
                             std::to_string(stated) + " frames");
        }
        return {};
    }
    return mixed({state.samples.data(), frames * state.fileChannels}, state.fileChannels);
}

} // namespace tarn::server
