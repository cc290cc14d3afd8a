// SPDX-License-Identifier: Apache-2.0
#include "matching/local_alignment.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tarn::server {

namespace {

// Hundredths of a bit.
constexpr int16_t kMaxForRepeat = 70;
constexpr int16_t kMinForPair = 20; // of a pair that is evidence for a copy, however predictable it is
// The share of a copy's letters that is assumed to be destroyed, in stretches, and replaced by random ones.
constexpr double kLost = 0.5;
constexpr int16_t kMaxForLetter = 1000; // of any score
constexpr int16_t kRepeatAlone = -50;

// How many letters of an average string are mixed into a query's own statistics: of letters, and of letters after a
// given letter.
constexpr double kUsualLetters = 5.0;
constexpr double kUsualFollowers = 3.0;

// Letters as numbers, with repeats and without.
struct Numbers {
    std::vector<uint8_t> all;
    std::vector<uint8_t> repeats; // 1 or 0
    std::vector<uint8_t> runs;

    explicit Numbers(std::string_view letters) {
        for (const char c : letters) {
            if (!isLetter(c)) continue;
            const auto number = static_cast<uint8_t>(c - 'a');
            repeats.push_back(!all.empty() && all.back() == number ? 1 : 0);
            if (repeats.back() == 0) runs.push_back(number);
            all.push_back(number);
        }
    }
};

// For each run's letter: its usual rarity minus its surprise in this query, in hundredths of a bit; 0 at least.
std::vector<int16_t> foretold(const Numbers& query, const LetterScores& scores) {
    std::array<double, kLetters> usual{};
    std::array<double, kLetters> share{};
    for (const uint8_t letter : query.runs) share[letter] += 1.0;
    for (size_t a = 0; a < kLetters; ++a) {
        usual[a] = std::exp2(-scores.rarity[a] / 100.0);
        share[a] = (share[a] + kUsualLetters * usual[a]) / (static_cast<double>(query.runs.size()) + kUsualLetters);
    }
    std::array<std::array<uint32_t, kLetters>, kLetters> followers{};
    std::array<uint32_t, kLetters> followed{};
    for (size_t i = 1; i < query.runs.size(); ++i) {
        ++followers[query.runs[i - 1]][query.runs[i]];
        ++followed[query.runs[i - 1]];
    }
    std::vector<int16_t> result;
    for (size_t i = 0; i < query.runs.size(); ++i) {
        const uint8_t letter = query.runs[i];
        double chance = share[letter];
        if (i > 0) { // this occurrence itself does not count
            const uint8_t before = query.runs[i - 1];
            chance = std::max(chance, (followers[before][letter] - 1.0 + kUsualFollowers * share[letter]) /
                                          (followed[before] - 1.0 + kUsualFollowers));
        }
        const double surprise = -100.0 * std::log2(chance);
        result.push_back(static_cast<int16_t>(std::lround(std::max(0.0, scores.rarity[letter] - surprise))));
    }
    return result;
}

// The score of a pair in a copy that lost a share of kLost, computed from its score in an undamaged copy.
class Tempered {
  public:
    Tempered() {
        double hundredths = -kMaxForLetter;
        for (int16_t& score : scores_) {
            score = static_cast<int16_t>(
                std::lround(100.0 * std::log2((1.0 - kLost) * std::exp2(hundredths / 100.0) + kLost)));
            hundredths += 1.0;
        }
    }
    int16_t operator()(int hundredths) const {
        const int index = kMaxForLetter + std::clamp<int>(hundredths, -kMaxForLetter, kMaxForLetter);
        return scores_[static_cast<size_t>(index)];
    }

  private:
    std::array<int16_t, 2 * kMaxForLetter + 1> scores_{};
};

// Rounded, halves away from zero.
constexpr int32_t units(int32_t hundredths) {
    const int32_t half = hundredths < 0 ? -50 : 50;
    return (hundredths * ScoredString::kUnitsPerBit + half) / 100;
}

// No pair scores less than a random letter.
static_assert(kLost == 0.5 && kScoreBias == ScoredString::kUnitsPerBit);
static_assert(kNoColumn == 2 * kLetters);

// Interleaves the first half of the costs with the second, this many of each at a time.
template <class Number>
void appendHalves(std::vector<Number>& out, const std::vector<uint8_t>& costs, size_t count) {
    const auto half = costs.begin() + static_cast<std::ptrdiff_t>(costs.size() / 2);
    const auto step = static_cast<std::ptrdiff_t>(count);
    for (auto first = costs.begin(), second = half; first != half; first += step, second += step) {
        out.insert(out.end(), first, first + step);
        out.insert(out.end(), second, second + step);
    }
}

// The scores of a pair whose letter the query does not predict at all, as a ScoreTable has them.
struct Scores {
    uint8_t full = 0;
    uint8_t repeated = 0; // if the query or the recording repeats the letter before

    Scores() = default;
    explicit Scores(int16_t tempered) : full(biased(tempered)), repeated(biased(std::min(tempered, kMaxForRepeat))) {}

  private:
    static uint8_t biased(int16_t hundredths) { return static_cast<uint8_t>(units(hundredths) + kScoreBias); }
};

const Tempered& tempered() {
    static const Tempered function;
    return function;
}

// The scores of all pairs of one codebook in a query that predicts nothing, and which of them are lower in a query that
// predicts some of its letters.
struct UsualScores {
    std::array<std::array<Scores, kLetters>, kLetters> of; // [the query's][the recording's]
    std::array<std::vector<uint8_t>, kLetters> positive;   // [the query's]: the recording's
    std::array<bool, kLetters> bestWithItself{};           // nothing scores more against it

    explicit UsualScores(const LetterScores& scores) {
        for (size_t a = 0; a < kLetters; ++a) {
            const auto& row = scores.pair[a];
            bestWithItself[a] = row[a] > 0 && row[a] == *std::max_element(row.begin(), row.end());
            for (size_t b = 0; b < kLetters; ++b) {
                of[a][b] = lowered(scores.pair[a][b], 0);
                if (scores.pair[a][b] > 0) positive[a].push_back(static_cast<uint8_t>(b));
            }
        }
    }

    static Scores lowered(int16_t pair, int16_t reduction) {
        if (pair <= 0) return Scores(tempered()(pair));
        return Scores(std::max(kMinForPair, tempered()(pair - reduction)));
    }
};

} // namespace

void toColumns(std::string_view letters, ScoreColumns& columns) {
    columns.resize(letters.size());
    size_t count = 0;
    char before = 0;
    for (const char c : letters) {
        if (!isLetter(c)) continue;
        columns[count++] = static_cast<uint8_t>(c - 'a' + (c == before ? static_cast<int>(kLetters) : 0));
        before = c;
    }
    columns.resize(count);
}

ScoredString::ScoredString(size_t codebook, std::string_view letters) {
    const LetterScores& scores = kLetterScores[codebook];
    const Numbers query(letters);
    const std::vector<int16_t> reductions = foretold(query, scores);
    const size_t length = std::min(query.all.size(), kMaxScored);
    stride_ = (length + kScoreStep - 1) / kScoreStep * kScoreStep;
    score_.resize(kColumns * stride_);
    std::array<std::vector<uint8_t>, 3> alone; // for gaps of one, two and four letters
    for (std::vector<uint8_t>& costs : alone) costs.resize(stride_, UINT8_MAX);
    auto& [one, two, four] = alone;
    static const std::array<UsualScores, kCodebooks> kUsual = {UsualScores(kLetterScores[0]),
                                                               UsualScores(kLetterScores[1])};
    const UsualScores& usual = kUsual[codebook];
    size_t run = 0;
    int32_t whole = 0;
    bool bestWithItself = true;
    for (size_t i = 0; i < length; ++i) {
        if (i > 0 && query.repeats[i] == 0) ++run;
        const uint8_t letter = query.all[i];
        const auto set = [&](size_t b, const Scores& score) {
            score_[b * stride_ + i] = query.repeats[i] != 0 ? score.repeated : score.full;
            score_[(kLetters + b) * stride_ + i] = score.repeated;
        };
        for (size_t b = 0; b < kLetters; ++b) set(b, usual.of[letter][b]);
        if (reductions[run] > 0) {
            for (const uint8_t b : usual.positive[letter]) {
                set(b, UsualScores::lowered(scores.pair[letter][b], reductions[run]));
            }
        }
        whole += score_[letter * stride_ + i] - kScoreBias;
        bestWithItself = bestWithItself && usual.bestWithItself[letter];
        one[i] = static_cast<uint8_t>(-units(query.repeats[i] != 0 ? kRepeatAlone : scores.queryAlone[query.all[i]]));
        two[i] = static_cast<uint8_t>(one[i] + (i >= 1 ? one[i - 1] : 0));
        four[i] = static_cast<uint8_t>(two[i] + (i >= 2 ? two[i - 2] : 0));
    }
    if (bestWithItself) againstItself_ = whole;
    for (const std::vector<uint8_t>& costs : alone) {
        appendHalves(alone_, costs, kScoreStep / 2);
        appendHalves(wideAlone_, costs, kScoreStep / 4);
    }
    for (size_t b = 0; b < kLetters; ++b) {
        columnAlone_[b] = static_cast<uint8_t>(-units(scores.recordingAlone[b]));
        columnAlone_[kLetters + b] = static_cast<uint8_t>(-units(kRepeatAlone));
    }
    columnAlone_[kNoColumn] = UINT8_MAX;
}

int32_t ScoredString::againstItself(std::string_view letters) const {
    if (againstItself_) return *againstItself_;
    ScoreColumns columns;
    toColumns(letters, columns);
    return against(columns);
}

int32_t ScoredString::against(std::span<const uint8_t> columns, const ScoreLanes& lanes) const {
    return lanes.best({.stride = stride_,
                       .score = score_.data(),
                       .columnAlone = columnAlone_.data(),
                       .alone = alone_.data(),
                       .wideAlone = wideAlone_.data()},
                      columns);
}

std::span<const ScoreLanes* const> availableScoreLanes() {
#if defined(__x86_64__)
    static constexpr std::array<const ScoreLanes*, 2> kAll = {&kBaselineScoreLanes, &kAvx2ScoreLanes};
    static const size_t available = __builtin_cpu_supports("avx2") != 0 ? 2 : 1;
#else
    static constexpr std::array<const ScoreLanes*, 1> kAll = {&kBaselineScoreLanes};
    constexpr size_t available = 1;
#endif
    return std::span(kAll).first(available);
}

} // namespace tarn::server
