// SPDX-License-Identifier: Apache-2.0
#include "matching/calibration.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tarn::server {

namespace {

// bench/accuracy/fit computes these numbers from the queries of docs/measurements/accuracy.md.
//
// The bits that the best of kFittedRecordings recordings reaches by chance, on average. A query that says more fits
// better by chance, too.
constexpr double kChanceBits = 48.05;
constexpr double kChanceBitsPerDoubling = 5.34;
constexpr double kUsualQueryBits = 500.0;

// Logistic regression.
constexpr double kIntercept = -5.210;
constexpr double kPerBit = 0.0226; // above chance
constexpr double kPerBitOfLead = 0.1982;
constexpr double kPerShareOfLead = 23.03; // of the query's own bits

constexpr double kMaxLead = 100.0; // a longer lead adds nothing
constexpr double kMaxShare = 0.4;  // nor does a larger share
constexpr double kMinQueryBits = 20.0;
// How many bits the best wrong recording gains when a catalogue doubles: the measured slope of the tail of wrong
// recordings' bits.
constexpr double kBitsPerDoubling = 3.0;
constexpr double kFittedRecordings = 87.0;

// This far above chance the odds are even, whatever the rival is. They double with each kBitsPerDoubling, since half as
// many wrong recordings reach that far.
constexpr double kEvenBits = 40.0;

double chanceOfOdds(double logOdds) { return 1.0 / (1.0 + std::exp(-logOdds)); }

} // namespace

double chanceOf(const Evidence& evidence) {
    const double queryBits = std::max(evidence.queryBits, kMinQueryBits);
    const double byChance = kChanceBits + kChanceBitsPerDoubling * std::log2(queryBits / kUsualQueryBits);
    const double doublings =
        std::log2(static_cast<double>(std::max<uint64_t>(evidence.recordings, 1)) / kFittedRecordings);
    const double above = evidence.bits - byChance - kBitsPerDoubling * std::max(doublings, 0.0);
    // In a small catalogue there is no rival, or the best of few, which says little about chance.
    const double lead = std::min(evidence.bits - std::max(evidence.rivalBits, byChance), kMaxLead);
    const double share = std::min(lead / queryBits, kMaxShare);
    const double compared = kIntercept + kPerBit * above + kPerBitOfLead * lead + kPerShareOfLead * share;
    // If the rival is far above chance too, the small lead does not mean chance: a query may hold two pieces.
    const double alone = std::numbers::ln2 * (above - kEvenBits) / kBitsPerDoubling;
    return chanceOfOdds(std::max(compared, alone));
}

int confidenceOf(double chance) { return static_cast<int>(std::lround(100.0 * std::clamp(chance, 0.0, 1.0))); }

} // namespace tarn::server
