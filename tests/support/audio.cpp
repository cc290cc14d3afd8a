// SPDX-License-Identifier: Apache-2.0
#include "support/audio.h"

#include <cstring>

namespace kvxtest {

namespace {

// A 32-bit finaliser: neighbouring inputs give unrelated outputs.
uint32_t scrambled(uint64_t value) {
    value ^= value >> 33;
    value *= 0xff51afd7ed558ccdULL;
    value ^= value >> 33;
    value *= 0xc4ceb9fe1a85ec53ULL;
    value ^= value >> 33;
    return static_cast<uint32_t>(value);
}

constexpr int64_t kOne = int64_t{1} << 30;

// Sine of phase / 2^32 turns, in units of 1 / kOne: the Taylor series of sin(x * pi / 2) over a quarter turn.
int64_t sine(uint32_t phase) {
    constexpr int64_t kCoefficients[] = {1686629713, -693598668, 85569306, -5026995, 172272, -3864};
    const bool falling = (phase & 0x40000000U) != 0;
    const uint32_t inQuarter = phase & 0x3fffffffU;
    const int64_t x = falling ? 0x40000000 - static_cast<int64_t>(inQuarter) : static_cast<int64_t>(inQuarter);
    const int64_t square = (x * x) >> 30;
    int64_t sum = 0;
    for (int i = 5; i >= 0; --i) sum = ((sum * square) >> 30) + kCoefficients[i];
    const int64_t value = (sum * x) >> 30;
    return (phase & 0x80000000U) != 0 ? -value : value;
}

// amplitude * sine, at a frequency in thousandths of a hertz.
int32_t tone(int64_t frame, int rateHz, int64_t milliHz, int32_t amplitude) {
    const uint64_t step = ((static_cast<uint64_t>(milliHz) << 32) / 1000) / static_cast<uint64_t>(rateHz);
    return static_cast<int32_t>(sine(static_cast<uint32_t>(step * static_cast<uint64_t>(frame))) * amplitude / kOne);
}

int32_t noise(int64_t frame, uint64_t seed, int32_t amplitude) {
    const int64_t value = static_cast<int32_t>(scrambled(static_cast<uint64_t>(frame) * 0x9e3779b97f4a7c15ULL + seed));
    return static_cast<int32_t>((value * amplitude) >> 31);
}

constexpr int64_t kSemitoneMilliHz[] = {261626, 277183, 293665, 311127, 329628, 349228,
                                        369994, 391995, 415305, 440000, 466164, 493883};

int32_t chord(int64_t frame, int rateHz, int channel) {
    const int64_t block = frame / (int64_t{rateHz} * 3);
    int32_t sum = 0;
    for (int voice = 0; voice < 4; ++voice) {
        const int64_t semitone = (block * 5 + voice * 4 + channel) % 12;
        sum += tone(frame, rateHz, kSemitoneMilliHz[semitone] << (voice / 2), 6500);
    }
    return sum;
}

int32_t sweep(int64_t frame, int rateHz) {
    const int64_t period = int64_t{rateHz} * 10;
    const int64_t at = frame % period;
    // Phase in cycles: 60 t + (4000 - 60) t^2 / 20, t = at / rate.
    const uint64_t linear = ((uint64_t{60} << 32) / static_cast<uint64_t>(rateHz)) * static_cast<uint64_t>(at);
    const uint64_t rate = static_cast<uint64_t>(rateHz);
    const uint64_t curvature = (uint64_t{197} << 48) / (rate * rate); // 2^-48 cycles per squared frame
    const uint64_t quadratic = (curvature * (static_cast<uint64_t>(at) * static_cast<uint64_t>(at) >> 8)) >> 8;
    return static_cast<int32_t>(sine(static_cast<uint32_t>(linear + quadratic)) * 24000 / kOne);
}

int32_t music(int64_t frame, int rateHz, int channel) {
    int32_t sum = 0;
    for (int voice = 0; voice < 4; ++voice) {
        const int64_t noteLength = int64_t{rateHz} * (180 + 130 * voice) / 1000;
        const int64_t note = frame / noteLength;
        const int64_t left = noteLength - frame % noteLength;
        const uint32_t dice = scrambled(static_cast<uint64_t>(note) * 4 + static_cast<uint64_t>(voice));
        if (dice % 7 == 0) continue; // a rest
        const int64_t milliHz = kSemitoneMilliHz[dice / 7 % 12] << (voice % 3) >> 1;
        const auto peak = static_cast<int32_t>((dice >> 16) % 1800 + 1500 + 300 * static_cast<uint32_t>(channel));
        const auto level = static_cast<int32_t>(peak * left / noteLength * left / noteLength);
        sum += tone(frame, rateHz, milliHz, level) + tone(frame, rateHz, 2 * milliHz, level / 2) +
               tone(frame, rateHz, 3 * milliHz, level / 4);
    }
    const int64_t beatLength = int64_t{rateHz} / 2;
    const int64_t drumLeft = int64_t{rateHz} / 12 - frame % beatLength;
    if (drumLeft > 0) sum += noise(frame, 77, static_cast<int32_t>(5000 * drumLeft / (rateHz / 12)));
    return sum;
}

} // namespace

std::string_view nameOf(Audio audio) {
    switch (audio) {
    case Audio::kSilence:
        return "silence";
    case Audio::kConstant:
        return "constant";
    case Audio::kTone:
        return "tone";
    case Audio::kHighTone:
        return "high tone";
    case Audio::kChord:
        return "chord";
    case Audio::kSweep:
        return "sweep";
    case Audio::kNoise:
        return "noise";
    case Audio::kQuietNoise:
        return "quiet noise";
    case Audio::kClicks:
        return "clicks";
    case Audio::kImpulses:
        return "impulses";
    case Audio::kSquare:
        return "square";
    case Audio::kBursts:
        return "bursts";
    case Audio::kMusic:
        return "music";
    }
    return "";
}

int16_t audioSample(Audio audio, int channel, int rateHz, int64_t frame) {
    const uint64_t seed = 1 + static_cast<uint64_t>(channel);
    switch (audio) {
    case Audio::kSilence:
        return 0;
    case Audio::kConstant:
        return static_cast<int16_t>(12000 + 7 * channel);
    case Audio::kTone:
        return static_cast<int16_t>(tone(frame, rateHz, 430664, 20000 - 5000 * channel));
    case Audio::kHighTone:
        return static_cast<int16_t>(tone(frame, rateHz, 5512500, 16384));
    case Audio::kChord:
        return static_cast<int16_t>(chord(frame, rateHz, channel));
    case Audio::kSweep:
        return static_cast<int16_t>(sweep(frame + channel * 100, rateHz));
    case Audio::kNoise:
        return static_cast<int16_t>(noise(frame, seed, 32768));
    case Audio::kQuietNoise:
        return static_cast<int16_t>(noise(frame, seed, 127));
    case Audio::kClicks:
        return frame % (int64_t{rateHz} * 37 / 100) == 0 ? INT16_MAX : int16_t{0};
    case Audio::kImpulses:
        return frame * 110 % rateHz < 110 ? INT16_MIN : int16_t{0};
    case Audio::kSquare:
        return frame * 440 / rateHz % 2 == 0 ? INT16_MAX : INT16_MIN;
    case Audio::kBursts:
        return frame % (int64_t{rateHz} * 16 / 10) < int64_t{rateHz} * 7 / 10
                   ? static_cast<int16_t>(noise(frame, seed, 9000))
                   : int16_t{0};
    case Audio::kMusic:
        return static_cast<int16_t>(music(frame, rateHz, channel));
    }
    return 0;
}

std::vector<int16_t> audioSamples(Audio audio, int channels, int rateHz, int startMs, int lengthMs) {
    const int64_t first = int64_t{startMs} * rateHz / 1000;
    const int64_t count = int64_t{lengthMs} * rateHz / 1000;
    std::vector<int16_t> samples;
    samples.reserve(static_cast<size_t>(count * channels));
    for (int64_t frame = first; frame < first + count; ++frame)
        for (int channel = 0; channel < channels; ++channel)
            samples.push_back(audioSample(audio, channel, rateHz, frame));
    return samples;
}

std::vector<uint8_t> audioBytes(Audio audio, int channels, int rateHz, int startMs, int lengthMs) {
    const std::vector<int16_t> samples = audioSamples(audio, channels, rateHz, startMs, lengthMs);
    std::vector<uint8_t> bytes(samples.size() * sizeof(int16_t));
    if (!bytes.empty()) std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

} // namespace kvxtest
