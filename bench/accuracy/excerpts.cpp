// SPDX-License-Identifier: Apache-2.0
#include "accuracy/excerpts.h"

#include "coding/pcm_preparation.h"
#include "coding/query_coder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

using namespace tarn::server;

namespace bench {

namespace {

// The header of a WAV file of 16-bit samples, read as samples.
std::vector<int16_t> headerAsSamples(const SF_INFO& info, size_t sampleCount) {
    std::vector<int16_t> words;
    const auto tag = [&](const char* text) {
        for (size_t i = 0; i < 4; i += 2) words.push_back(static_cast<int16_t>(text[i] | text[i + 1] << 8));
    };
    const auto number = [&](size_t value) {
        words.push_back(static_cast<int16_t>(value & 0xffff));
        words.push_back(static_cast<int16_t>(value >> 16 & 0xffff));
    };
    const auto rate = static_cast<size_t>(info.samplerate);
    const auto frameBytes = static_cast<size_t>(info.channels) * 2;
    tag("RIFF");
    number(36 + 2 * sampleCount);
    tag("WAVE");
    tag("fmt ");
    number(16);
    words.push_back(1); // PCM
    words.push_back(static_cast<int16_t>(info.channels));
    number(rate);
    number(rate * frameBytes);
    words.push_back(static_cast<int16_t>(frameBytes));
    words.push_back(16);
    tag("data");
    number(2 * sampleCount);
    return words;
}

} // namespace

std::vector<int16_t> pcmOf(Sound& sound, double start, double length) {
    const auto framesIn = [&](double seconds) {
        return static_cast<sf_count_t>(std::llround(seconds * sound.info.samplerate));
    };
    const sf_count_t first = std::min(framesIn(start), sound.info.frames);
    sf_seek(sound.file.get(), first, SEEK_SET);
    const auto channels = static_cast<size_t>(sound.info.channels);
    std::vector<int16_t> pcm(static_cast<size_t>(std::min(framesIn(length), sound.info.frames - first)) * channels);
    const sf_count_t got = sf_readf_short(sound.file.get(), pcm.data(), static_cast<sf_count_t>(pcm.size() / channels));
    pcm.resize(static_cast<size_t>(got) * channels);
    return pcm;
}

std::vector<int16_t> prepared(const Sound& sound, std::span<const int16_t> pcm) {
    PcmPreparation preparation(sound.info.samplerate, sound.info.channels);
    const std::span<const int16_t> samples = preparation.prepare(pcm);
    return {samples.begin(), samples.end()};
}

FingerprintQuery codedFile(const Sound& sound, const std::vector<int16_t>& pcm) {
    constexpr size_t kBlock = 512;     // samples
    constexpr size_t kMaxSeconds = 31; // more than is coded
    const size_t second = static_cast<size_t>(sound.info.samplerate) * static_cast<size_t>(sound.info.channels);
    std::vector<int16_t> file = headerAsSamples(sound.info, pcm.size());
    file.insert(file.end(), pcm.begin(), pcm.end());
    const auto durationMs = static_cast<uint32_t>((pcm.size() + 4) / second * 1000);
    const size_t first = std::min(clientStartMs(durationMs) / 1000 * second, file.size());
    file.erase(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(first));
    while (file.size() % kBlock != 0) file.push_back(file.size() >= kBlock ? file[file.size() - kBlock] : int16_t{0});
    file.resize(std::min(file.size(), kMaxSeconds * second));
    return codeQuery(prepared(sound, file), durationMs);
}
} // namespace bench
