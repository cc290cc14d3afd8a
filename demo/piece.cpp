// SPDX-License-Identifier: Apache-2.0
#include "demo/piece.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string>

namespace tarn::demo {

namespace {

constexpr double kTurn = 2 * std::numbers::pi;
constexpr int kBeatsPerBar = 4;

class Dice {
  public:
    explicit Dice(uint64_t seed) : state_(seed * 0x9e3779b97f4a7c15ULL + 0x632be59bd9b4e019ULL) {}
    uint64_t next() {
        state_ += 0x9e3779b97f4a7c15ULL;
        uint64_t mixed = (state_ ^ (state_ >> 30)) * 0xbf58476d1ce4e5b9ULL;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebULL;
        return mixed ^ (mixed >> 31);
    }
    int below(int count) { return static_cast<int>(next() % static_cast<uint64_t>(count)); }
    double between(double low, double high) {
        return low + (high - low) * static_cast<double>(next() >> 11) / static_cast<double>(1ULL << 53);
    }
    bool chance(double probability) { return between(0, 1) < probability; }

  private:
    uint64_t state_;
};

constexpr std::array<std::array<int, 7>, 4> kModes = {{
    {0, 2, 4, 5, 7, 9, 11}, // major
    {0, 2, 3, 5, 7, 8, 10}, // minor
    {0, 2, 3, 5, 7, 9, 10}, // dorian
    {0, 2, 4, 5, 7, 9, 10}, // mixolydian
}};

struct Voice {
    std::array<double, 5> partials{}; // strength of the first five
    double decaySeconds = 1;
    double strength = 1;
    double place = 0; // -1 left to 1 right
};

class Composer {
  public:
    Composer(uint64_t seed, double seconds, int rateHz)
        : dice_(seed), rateHz_(rateHz), left_(static_cast<size_t>(seconds * rateHz)), right_(left_.size()) {
        key_ = dice_.below(12);
        mode_ = kModes[static_cast<size_t>(dice_.below(static_cast<int>(kModes.size())))];
        beatSeconds_ = 60 / dice_.between(72, 150);
        for (size_t v = 0; v < voices_.size(); ++v) voices_[v] = drawVoice(v);
        for (int& degree : harmony_) degree = dice_.below(7);
    }

    void play() {
        const double barSeconds = beatSeconds_ * kBeatsPerBar;
        const double end = static_cast<double>(left_.size()) / rateHz_;
        for (int bar = 0; bar * barSeconds < end; ++bar) {
            if (bar % 8 == 7) harmony_[static_cast<size_t>(dice_.below(8))] = dice_.below(7); // the harmony changes
            playBar(bar * barSeconds, harmony_[static_cast<size_t>(bar % 8)], bar);
        }
    }

    Sound sound(int channels) const {
        double peak = 1e-9;
        for (size_t i = 0; i < left_.size(); ++i) peak = std::max({peak, std::abs(left_[i]), std::abs(right_[i])});
        const double gain = 28000 / peak;
        Sound made{rateHz_, channels, {}};
        made.samples.reserve(left_.size() * static_cast<size_t>(channels));
        for (size_t i = 0; i < left_.size(); ++i) {
            if (channels == 1) {
                made.samples.push_back(static_cast<int16_t>(std::lrint(gain * (left_[i] + right_[i]) / 2)));
            } else {
                made.samples.push_back(static_cast<int16_t>(std::lrint(gain * left_[i])));
                made.samples.push_back(static_cast<int16_t>(std::lrint(gain * right_[i])));
            }
        }
        return made;
    }

  private:
    static constexpr size_t kBass = 0;
    static constexpr size_t kChord = 1;
    static constexpr size_t kMelody = 2;
    static constexpr size_t kArpeggio = 3;

    Voice drawVoice(size_t which) {
        Voice voice;
        double strength = 1;
        for (double& partial : voice.partials) {
            partial = strength * dice_.between(0.3, 1);
            strength *= dice_.between(0.3, 0.8);
        }
        voice.decaySeconds = dice_.between(0.3, 1.6);
        voice.strength = which == kMelody ? 1.2 : which == kBass ? 1.0 : 0.5;
        voice.place = dice_.between(-0.7, 0.7);
        return voice;
    }

    // degree: of the scale, 0 is the key note; more than 6 is an octave up.
    double hertz(int degree, int octave) const {
        const int note = key_ + mode_[static_cast<size_t>(degree % 7)] + 12 * (octave + degree / 7);
        return 65.406 * std::pow(2.0, note / 12.0);
    }

    void playBar(double start, int root, int bar) {
        playNote(kBass, hertz(root, 0), start, 2 * beatSeconds_);
        playNote(kBass, hertz(dice_.chance(0.5) ? root : root + 4, 0), start + 2 * beatSeconds_, 2 * beatSeconds_);
        for (const int third : {0, 2, 4}) playNote(kChord, hertz(root + third, 1), start, 4 * beatSeconds_);
        for (int eighth = 0; eighth < 8; ++eighth) {
            const double at = start + eighth * beatSeconds_ / 2;
            if (dice_.chance(0.55)) {
                melody_ = std::clamp(melody_ + dice_.below(5) - 2, 0, 13);
                // On the beat the melody plays a note of the chord.
                const int degree = eighth % 4 == 0 ? root + 2 * dice_.below(3) : melody_;
                playNote(kMelody, hertz(degree, 2), at, beatSeconds_ * dice_.between(0.4, 1.2));
            }
            if (bar % 4 != 0) playNote(kArpeggio, hertz(root + 2 * (eighth % 4), 2), at, beatSeconds_ / 2);
            if (bar >= 2) playDrum(at, eighth % 4 == 2 ? 0.5 : 0.15);
        }
    }

    void playNote(size_t which, double frequency, double start, double seconds) {
        const Voice& voice = voices_[which];
        const auto first = static_cast<size_t>(start * rateHz_);
        const size_t count = countFrom(first, seconds * 1.2);
        const double release = seconds * rateHz_;
        for (size_t p = 0; p < voice.partials.size(); ++p) {
            const double partial = frequency * static_cast<double>(p + 1);
            if (partial > 0.45 * rateHz_) break;
            // A rotating vector: one multiplication for each sample instead of a sine.
            const double step = kTurn * partial / rateHz_;
            double sine = 0;
            double cosine = 1;
            const double stepSine = std::sin(step);
            const double stepCosine = std::cos(step);
            const double fall = std::exp(-static_cast<double>(p + 1) / (2 * voice.decaySeconds * rateHz_));
            double strength = voice.strength * voice.partials[p];
            for (size_t i = 0; i < count; ++i) {
                double envelope = strength * std::min(1.0, static_cast<double>(i) / (0.005 * rateHz_));
                if (static_cast<double>(i) > release) {
                    envelope *= std::max(0.0, 1 - (static_cast<double>(i) - release) / (0.2 * release));
                }
                left_[first + i] += envelope * sine * (1 - voice.place);
                right_[first + i] += envelope * sine * (1 + voice.place);
                const double turned = sine * stepCosine + cosine * stepSine;
                cosine = cosine * stepCosine - sine * stepSine;
                sine = turned;
                strength *= fall;
            }
        }
    }

    void playDrum(double start, double strength) {
        const auto first = static_cast<size_t>(start * rateHz_);
        const size_t count = countFrom(first, 0.08);
        for (size_t i = 0; i < count; ++i) {
            const double value =
                strength * (1 - static_cast<double>(i) / static_cast<double>(count)) * dice_.between(-1, 1);
            left_[first + i] += value;
            right_[first + i] += value;
        }
    }

    size_t countFrom(size_t first, double seconds) const {
        return first >= left_.size() ? 0 : std::min(left_.size() - first, static_cast<size_t>(seconds * rateHz_));
    }

    Dice dice_;
    int rateHz_;
    std::vector<double> left_;
    std::vector<double> right_;
    int key_ = 0;
    std::array<int, 7> mode_{};
    double beatSeconds_ = 0;
    std::array<Voice, 4> voices_;
    std::array<int, 8> harmony_{};
    int melody_ = 7;
};

constexpr std::array kFirstWords = {"Quiet",  "Northern", "Paper", "Copper",  "Slow",  "Second",
                                    "Hollow", "Winter",   "Glass", "Distant", "Amber", "Early"};
constexpr std::array kSecondWords = {"Harbour",   "Letters", "Orchard", "Signal", "Staircase", "Meadow",
                                     "Clockwork", "Ferry",   "Lantern", "Window", "River",     "Garden"};
constexpr std::array kPlayers = {"The Tin Cartographers", "Mara Feld", "Low Tide Assembly", "Ensemble Nord"};
constexpr std::array kAlbums = {"Maps of Small Places", "Letters Home", "Ebb and Return", "Chamber Weather"};
constexpr uint32_t kPiecesPerAlbum = 6;

} // namespace

Sound renderPiece(uint64_t seed, double seconds, int rateHz, int channels) {
    Composer composer(seed, seconds, rateHz);
    composer.play();
    return composer.sound(channels);
}

server::Tags tagsOfPiece(uint64_t seed, uint32_t index) {
    const uint32_t album = index / kPiecesPerAlbum;
    const auto word = static_cast<uint32_t>(index + seed);
    server::Tags tags;
    // Two cycles of 12 words, the second shifted at each turn, give 144 titles before one is repeated.
    tags.title = std::string(kFirstWords[word % kFirstWords.size()]) + " " +
                 kSecondWords[(word + word / kFirstWords.size()) % kSecondWords.size()];
    tags.artist = tags.albumArtist = kPlayers[album % kPlayers.size()];
    tags.album = kAlbums[album % kAlbums.size()];
    tags.number = index % kPiecesPerAlbum + 1;
    tags.year = 2001 + album % 20;
    return tags;
}

} // namespace tarn::demo
