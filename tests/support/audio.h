// SPDX-License-Identifier: Apache-2.0
// Generated audio for tests: 16-bit PCM in host order, the same bytes from every compiler.
//
// A sample depends on its position alone, never on the ones before it, so that a piece from the middle of a recording
// costs no more than one from its start. Only integers are used: no library sine whose last bit may differ.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kvxtest {

enum class Audio {
    kSilence,
    kConstant,   // the same value throughout
    kTone,       // 430.7 Hz: the tenth bin of a 512-sample frame at 22050 Hz
    kHighTone,   // 5512.5 Hz: a quarter of 22050 Hz, far above the bins that the centroid looks at
    kChord,      // four tones at once, changing every 3 s
    kSweep,      // 60 Hz to 4 kHz in 10 s, again and again
    kNoise,      // white, full scale
    kQuietNoise, // white, about as loud as what still counts as silence
    kClicks,     // one full-scale sample every 0.37 s
    kImpulses,   // 110 full-scale samples a second
    kSquare,     // full scale, 220 Hz
    kBursts,     // 0.7 s of noise, 0.9 s of silence
    kMusic,      // four voices with overtones and decaying notes, and a drum
};

inline constexpr std::array kAllAudio = {
    Audio::kSilence, Audio::kConstant, Audio::kTone,       Audio::kHighTone, Audio::kChord,
    Audio::kSweep,   Audio::kNoise,    Audio::kQuietNoise, Audio::kClicks,   Audio::kImpulses,
    Audio::kSquare,  Audio::kBursts,   Audio::kMusic,
};

std::string_view nameOf(Audio audio);

// One sample of a channel (0 or 1; the channels differ), counted in frames from the start of the recording.
int16_t audioSample(Audio audio, int channel, int rateHz, int64_t frame);

// lengthMs of audio from startMs on, channels interleaved.
std::vector<int16_t> audioSamples(Audio audio, int channels, int rateHz, int startMs, int lengthMs);

// The same as bytes, as a recogniser is fed.
std::vector<uint8_t> audioBytes(Audio audio, int channels, int rateHz, int startMs, int lengthMs);

} // namespace kvxtest
