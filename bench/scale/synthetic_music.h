// SPDX-License-Identifier: Apache-2.0
// Recordings and queries that are made up from the letter statistics of real ones.
//
// In a synthetic string, each run of a letter follows the two letters before it as often as in real strings. The other
// codings are the first one with runs exchanged, added, left out and lengthened as often as between the codings of one
// real recording, which is drawn for each synthetic one. Queries are made in the same way, with a part of the edits
// between frame phases.
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
    double added = 0; // after it
    double leftOut = 0;
    double lengthened = 0; // or shortened

    EditRates scaled(double factor) const;
};

// The letters of one codebook: for each pair of letters all runs that followed it, so that drawing one of them at
// random reproduces the probabilities.
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
    // between frame phases, as in real excerpts; noise multiplies them.
    server::FingerprintQuery query(uint32_t number, Dice& dice, double noise) const;

    // Prints the same figures for real and synthetic music: edits a letter between codings, different grams a minute.
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
