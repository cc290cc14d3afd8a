// SPDX-License-Identifier: Apache-2.0
// Recordings and queries that are made up after the letter statistics of real ones.
//
// A synthetic string follows the real ones' chances of a run of a letter after the two letters before it. The other
// variants are the first one with runs exchanged, added, left out and lengthened as often as between the variants of
// one real recording, which is drawn for each synthetic one. So are queries, with a part of the edits that a frame
// phase makes.
#pragma once

#include "model/recogniser.h"
#include "model/recording.h"

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::bench {

constexpr uint32_t kSyntheticSeconds = 240;

class Dice {
  public:
    explicit Dice(uint32_t seed) : engine_(seed) {}
    size_t below(size_t sides) { return engine_() % sides; }
    bool chance(double p) { return static_cast<double>(engine_()) < p * 4294967296.0; }

  private:
    std::mt19937 engine_;
};

struct Run {
    char letter = 0;
    uint32_t length = 0;
};
using Runs = std::vector<Run>;

Runs runsOf(std::string_view letters);
std::string lettersOf(const Runs& runs);

// Chances for each run.
struct EditRates {
    double exchanged = 0;
    double added = 0; // behind it
    double leftOut = 0;
    double lengthened = 0; // or shortened

    EditRates scaled(double factor) const;
};

// One codebook's letters: every run that followed two letters, so that drawing one copies the chances.
class LetterModel {
  public:
    void learn(const Runs& runs, double seconds);
    Runs draw(Dice& dice, double seconds) const;
    Runs edited(Dice& dice, const Runs& runs, const EditRates& rates) const;

  private:
    const Run& after(Dice& dice, const std::string& context) const;

    std::map<std::string, Runs> next_;
    std::vector<std::string> starts_;
    double letters_ = 0;
    double seconds_ = 0;
};

class SyntheticMusic {
  public:
    explicit SyntheticMusic(const std::string& realCatalogue);

    server::Recording recording(uint32_t number) const;
    // 30 s from a random place of the recording with that number. Each of the three maps has its part of the edits
    // between frame phases, as real excerpts have them; noise multiplies them.
    server::FingerprintQuery query(uint32_t number, Dice& dice, double noise) const;

    // Real against synthetic: edits a letter between variants, different grams a minute.
    void compare() const;

  private:
    // rates[variant - 1][codebook] of one real recording
    using VariantRates = std::array<std::array<EditRates, server::kCodebooks>, server::kCodings.size() - 1>;
    struct Measures;
    static Measures measuresOf(const std::vector<server::Recording>& recordings);
    const VariantRates& ratesOf(uint32_t number) const;

    std::array<LetterModel, server::kCodebooks> models_;
    std::vector<VariantRates> rates_;
    std::vector<server::Recording> real_;
};

} // namespace tarn::bench
