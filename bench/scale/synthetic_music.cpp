// SPDX-License-Identifier: Apache-2.0
#include "synthetic_music.h"

#include "catalogue/catalogue.h"
#include "coding/grams.h"
#include "ingest/record_builder.h"
#include "model/frames.h"

#include <edlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <set>

namespace tarn::bench {

using namespace tarn::server;

namespace {

constexpr double kFramesPerSecond = kEngineRateHz / 512.0;
constexpr uint32_t kRatesSeed = 5;
// How the edits of a query's three maps compare with those between two frame phases, best map first. On real excerpts
// from anywhere, the maps are 0.15, 0.21 and 0.26 edits a letter from the nearest phase of the recording, and the two
// phases are 0.35 from each other.
constexpr std::array<double, 3> kMapEdits = {0.42, 0.60, 0.74};

std::string withoutRepeats(const Runs& runs) {
    std::string letters;
    for (const Run& run : runs) letters.push_back(run.letter);
    return letters;
}

struct AlignResult {
    explicit AlignResult(std::string_view from, std::string_view to)
        : result(edlibAlign(from.data(), static_cast<int>(from.size()), to.data(), static_cast<int>(to.size()),
                            edlibNewAlignConfig(-1, EDLIB_MODE_NW, EDLIB_TASK_PATH, nullptr, 0))) {}
    ~AlignResult() { edlibFreeAlignResult(result); }
    AlignResult(const AlignResult&) = delete;
    AlignResult& operator=(const AlignResult&) = delete;
    EdlibAlignResult result;
};

EditRates ratesBetween(const Runs& from, const Runs& to) {
    const AlignResult aligned(withoutRepeats(from), withoutRepeats(to));
    EditRates counts;
    size_t f = 0;
    size_t t = 0;
    size_t kept = 0;
    for (int i = 0; i < aligned.result.alignmentLength; ++i) {
        switch (aligned.result.alignment[i]) {
        case EDLIB_EDOP_MATCH:
            ++kept;
            counts.lengthened += from[f++].length != to[t++].length ? 1 : 0;
            break;
        case EDLIB_EDOP_INSERT:
            ++counts.leftOut;
            ++f;
            break;
        case EDLIB_EDOP_DELETE:
            ++counts.added;
            ++t;
            break;
        default:
            ++counts.exchanged;
            ++f;
            ++t;
        }
    }
    const auto runs = static_cast<double>(std::max<size_t>(from.size(), 1));
    return {counts.exchanged / runs, counts.added / runs, counts.leftOut / runs,
            counts.lengthened / static_cast<double>(std::max<size_t>(kept, 1))};
}

CodeString timed(std::string letters) {
    CodeString string;
    const double framesPerLetter = kSyntheticSeconds * kFramesPerSecond / static_cast<double>(letters.size());
    for (size_t i = 0; i < letters.size(); ++i) {
        string.frames.push_back(41 + static_cast<uint32_t>(static_cast<double>(i) * framesPerLetter));
    }
    string.letters = std::move(letters);
    return string;
}

} // namespace

Runs runsOf(std::string_view letters) {
    Runs runs;
    for (const char letter : letters) {
        if (runs.empty() || runs.back().letter != letter) runs.push_back({letter, 0});
        ++runs.back().length;
    }
    return runs;
}

std::string lettersOf(const Runs& runs) {
    std::string letters;
    for (const Run& run : runs) letters.append(run.length, run.letter);
    return letters;
}

EditRates EditRates::scaled(double factor) const {
    const double most = 0.9 / std::max(exchanged + added + leftOut, 1e-9);
    const double f = std::min(factor, most);
    return {exchanged * f, added * f, leftOut * f, std::min(lengthened * factor, 0.9)};
}

void LetterModel::learn(const Runs& runs, double seconds) {
    for (size_t i = 2; i < runs.size(); ++i) {
        const std::string context{runs[i - 2].letter, runs[i - 1].letter};
        next_[context].push_back(runs[i]);
        starts_.push_back(context);
    }
    for (const Run& run : runs) letters_ += run.length;
    seconds_ += seconds;
}

// After a context that only ever ended a string, any other context continues.
const Run& LetterModel::after(Dice& dice, const std::string& context) const {
    auto found = next_.find(context);
    while (found == next_.end()) found = next_.find(starts_[dice.below(starts_.size())]);
    return found->second[dice.below(found->second.size())];
}

Runs LetterModel::draw(Dice& dice, double seconds) const {
    const auto length = static_cast<size_t>(letters_ / seconds_ * seconds);
    std::string context = starts_[dice.below(starts_.size())];
    Runs runs;
    for (size_t letters = 0; letters < length;) {
        const Run& run = after(dice, context);
        if (runs.empty() || run.letter != runs.back().letter) runs.push_back(run);
        letters += run.length;
        context = std::string{context[1], run.letter};
    }
    return runs;
}

Runs LetterModel::edited(Dice& dice, const Runs& runs, const EditRates& rates) const {
    Runs out;
    const auto append = [&](const Run& run) {
        if (!out.empty() && out.back().letter == run.letter) {
            out.back().length += run.length;
        } else {
            out.push_back(run);
        }
    };
    const auto drawn = [&] {
        const size_t n = out.size();
        return after(dice, n < 2 ? starts_.front() : std::string{out[n - 2].letter, out[n - 1].letter});
    };
    for (const Run& run : runs) {
        if (dice.chance(rates.leftOut)) continue;
        if (dice.chance(rates.exchanged)) {
            append(drawn());
        } else {
            append({run.letter, dice.chance(rates.lengthened) ? drawn().length : run.length});
        }
        if (dice.chance(rates.added)) append(drawn());
    }
    return out;
}

SyntheticMusic::SyntheticMusic(const std::string& realCatalogue) {
    CatalogueReader(realCatalogue).forEach([&](const Recording& recording) {
        VariantRates rates;
        for (size_t c = 0; c < kCodebooks; ++c) {
            const Runs first = runsOf(recording.codes[0][c].letters);
            models_[c].learn(first, recording.durationMs / 1000.0);
            for (size_t v = 1; v < kCodings.size(); ++v) {
                rates[v - 1][c] = ratesBetween(first, runsOf(recording.codes[v][c].letters));
            }
        }
        rates_.push_back(rates);
        real_.push_back(recording);
    });
}

const SyntheticMusic::VariantRates& SyntheticMusic::ratesOf(uint32_t number) const {
    Dice dice(number + kRatesSeed);
    return rates_[dice.below(rates_.size())];
}

Recording SyntheticMusic::recording(uint32_t number) const {
    Dice dice(number);
    const VariantRates& rates = ratesOf(number);
    Recording recording;
    for (int digit = 0; digit < 64; ++digit) recording.contentHash.push_back("0123456789abcdef"[dice.below(16)]);
    recording.path = "/music/artist/album/" + std::to_string(number) + ".flac";
    recording.durationMs = kSyntheticSeconds * 1000;
    recording.tags = {.title = "Title " + std::to_string(number),
                      .artist = "Artist " + std::to_string(number / 60),
                      .album = "Album " + std::to_string(number / 12),
                      .albumArtist = {},
                      .number = number % 12 + 1,
                      .year = 1999};
    fillRecords(recording);
    for (size_t c = 0; c < kCodebooks; ++c) {
        const Runs first = models_[c].draw(dice, kSyntheticSeconds);
        recording.codes[0][c] = timed(lettersOf(first));
        for (size_t v = 1; v < kCodings.size(); ++v) {
            recording.codes[v][c] = timed(lettersOf(models_[c].edited(dice, first, rates[v - 1][c])));
        }
    }
    return recording;
}

FingerprintQuery SyntheticMusic::query(uint32_t number, Dice& dice, double noise) const {
    const Recording whole = recording(number);
    const VariantRates& rates = ratesOf(number);
    FingerprintQuery query;
    query.durationMs = 30050;
    const auto second = dice.below(kSyntheticSeconds - 31);
    for (size_t i = 0; i < query.codes.size(); ++i) {
        const size_t c = i % kCodebooks;
        const std::string& letters = whole.codes[0][c].letters;
        const Runs part = runsOf(std::string_view(letters).substr(letters.size() * second / kSyntheticSeconds,
                                                                  letters.size() * 29 / kSyntheticSeconds));
        const EditRates edits = rates[0][c].scaled(kMapEdits[i / kCodebooks] * noise);
        query.codes[i] = lettersOf(models_[c].edited(dice, part, edits));
    }
    return query;
}

struct SyntheticMusic::Measures {
    double phaseEdits = 0; // a letter
    double quietEdits = 0;
    double gramsOfFirst = 0; // different ones, a minute
    double gramsOfPhases = 0;
    double gramsOfAll = 0;
};

SyntheticMusic::Measures SyntheticMusic::measuresOf(const std::vector<Recording>& recordings) {
    Measures sums;
    double letters = 0;
    double minutes = 0;
    for (const Recording& recording : recordings) {
        minutes += recording.durationMs / 60000.0;
        for (size_t c = 0; c < kCodebooks; ++c) {
            const std::string& first = recording.codes[0][c].letters;
            letters += static_cast<double>(first.size());
            sums.phaseEdits += AlignResult(first, recording.codes[1][c].letters).result.editDistance;
            sums.quietEdits += AlignResult(first, recording.codes[2][c].letters).result.editDistance;
            std::set<uint32_t> grams;
            for (size_t v = 0; v < kCodings.size(); ++v) {
                for (const Gram& gram : gramsOf(recording.codes[v][c].letters)) grams.insert(gram.value);
                (v == 0   ? sums.gramsOfFirst
                 : v == 1 ? sums.gramsOfPhases
                          : sums.gramsOfAll) += static_cast<double>(grams.size());
            }
        }
    }
    return {sums.phaseEdits / letters, sums.quietEdits / letters, sums.gramsOfFirst / minutes,
            sums.gramsOfPhases / minutes, sums.gramsOfAll / minutes};
}

void SyntheticMusic::compare() const {
    std::vector<Recording> synthetic;
    for (uint32_t number = 1; number <= 100; ++number) synthetic.push_back(recording(number));
    const auto print = [](const char* name, const Measures& m) {
        std::printf(
            "%s: edits a letter to the other phase %.3f, to the quiet copy %.3f; different grams a minute %.0f, "
            "with the other phase %.0f, with the quiet copy %.0f\n",
            name, m.phaseEdits, m.quietEdits, m.gramsOfFirst, m.gramsOfPhases, m.gramsOfAll);
    };
    print("real", measuresOf(real_));
    print("synthetic", measuresOf(synthetic));
}

} // namespace tarn::bench
