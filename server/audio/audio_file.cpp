// SPDX-License-Identifier: Apache-2.0
#include "audio/audio_file.h"

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

inline int16_t clipped(float value) {
    if (std::isnan(value)) return 0;
    return static_cast<int16_t>(std::lrint(std::clamp(value * 32768.0F, -32768.0F, 32767.0F)));
}

} // namespace

struct AudioFile::Impl {
    std::unique_ptr<SNDFILE, Close> file;
    SF_INFO info{};
    bool floating = false;
    size_t fileChannels = 0;
    uint64_t framesRead = 0;
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

    void mixToStereo(size_t frames) {
        const auto evens = static_cast<int32_t>((fileChannels + 1) / 2);
        const auto odds = static_cast<int32_t>(fileChannels / 2);
        for (size_t i = 0; i < frames; ++i) {
            int32_t sums[2] = {0, 0};
            for (size_t c = 0; c < fileChannels; ++c) sums[c % 2] += samples[i * fileChannels + c];
            samples[2 * i] = static_cast<int16_t>(sums[0] / evens);
            samples[2 * i + 1] = static_cast<int16_t>(sums[1] / odds);
        }
    }
};

void expectFile(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) throw AudioError("there is no such file");
    if (error) throw AudioError(error.message());
    if (!std::filesystem::is_regular_file(status)) throw AudioError("it is not a regular file");
    if (std::filesystem::file_size(path, error) == 0 && !error) throw AudioError("the file is empty");
}

AudioFile::AudioFile(const std::filesystem::path& path) : impl_(std::make_unique<Impl>()) {
    expectFile(path);
    impl_->file.reset(sf_open(path.c_str(), SFM_READ, &impl_->info));
    if (!impl_->file) throw AudioError("not readable as audio: " + reasonNotOpened());
    const SF_INFO& info = impl_->info;
    if (info.samplerate < kMinRateHz) {
        throw AudioError("its rate of " + std::to_string(info.samplerate) + " Hz is below the " +
                         std::to_string(kMinRateHz) + " Hz that recognition needs");
    }
    if (info.samplerate > kMaxRateHz) {
        throw AudioError("its rate of " + std::to_string(info.samplerate) + " Hz is above the " +
                         std::to_string(kMaxRateHz) + " Hz that audio may have");
    }
    if (info.channels < 1) throw AudioError("it has no channels");
    impl_->fileChannels = static_cast<size_t>(info.channels);
    impl_->floating = isFloating(info.format);
    impl_->makeRoom();
}

AudioFile::~AudioFile() = default;

int AudioFile::rateHz() const { return impl_->info.samplerate; }
int AudioFile::channels() const { return std::min(impl_->info.channels, 2); }
uint64_t AudioFile::framesRead() const { return impl_->framesRead; }

std::span<const int16_t> AudioFile::read() {
    Impl& state = *impl_;
    const size_t frames = state.decode();
    state.framesRead += frames;
    if (state.framesRead > kMaxSeconds * static_cast<uint64_t>(rateHz()))
        throw AudioError("it is longer than a day, the most that a recording may last");
    if (frames == 0) {
        if (sf_error(state.file.get()) != SF_ERR_NO_ERROR) {
            throw AudioError(std::string("damaged: ") + sf_strerror(state.file.get()));
        }
        const auto stated = static_cast<uint64_t>(std::max<sf_count_t>(state.info.frames, 0));
        if (statesItsLength(state.info.format) && state.info.frames < SF_COUNT_MAX && state.framesRead < stated) {
            throw AudioError("damaged: it ends after " + std::to_string(state.framesRead) + " of " +
                             std::to_string(stated) + " frames");
        }
        return {};
    }
    if (state.fileChannels > 2) state.mixToStereo(frames);
    return {state.samples.data(), frames * static_cast<size_t>(channels())};
}

} // namespace tarn::server
