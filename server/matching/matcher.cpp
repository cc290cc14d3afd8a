// SPDX-License-Identifier: Apache-2.0
#include "matching/matcher.h"

#include "model/frames.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace tarn::server {

namespace {

constexpr size_t kMaxCandidates = 20;
constexpr size_t kRarestGrams = 160;
// How many postings a stage reads at most. The commonest grams say the least and cost the most, and in a large
// catalogue a query's grams have millions of postings together. The kMinGrams rarest grams are read whatever they cost.
constexpr uint64_t kFirstPostings = 20'000;
constexpr uint64_t kMaxPostings = 200'000;
constexpr size_t kMinGrams = 40;
// A gram that this many recordings hold says too little for what it costs to read.
constexpr uint64_t kCommonGram = 2200;
// The first stage's candidates are judged only if the best score is 1.4 times the sixth: places 2 to 5 may be copies of
// the best. Known recordings nearly always pass, and unknown music skips a stage that would find nothing.
constexpr size_t kComparedPlace = 5;
constexpr uint32_t kStandsOutPercent = 140;
// In a small catalogue, comparing more candidates costs no more than finding them costs in a large one.
constexpr uint64_t kSmallCatalogue = 1000;
constexpr size_t kMaxOfSmall = 100;
// When this many candidates have been compared and one of them has this many bits, the others are skipped.
constexpr size_t kClearCandidates = 4;
constexpr double kClearBits = 150.0;
// How many candidates are measured with all maps, and how many if one of them is clear.
constexpr size_t kMaxMeasured = 8;
constexpr size_t kMaxMeasuredOfClear = 2;
// Two candidates that differ by fewer edits per letter than this, where the query lies, are the same recording.
constexpr double kSameRecording = 0.35;

// The information in a gram, in hundredths of a bit.
uint32_t weightOf(uint64_t frequency, uint64_t recordings) {
    const double share =
        static_cast<double>(frequency) / static_cast<double>(std::max<uint64_t>(recordings, frequency));
    return static_cast<uint32_t>(std::lround(-100.0 * std::log2(share))) + 1;
}

// The positions in the look-up of the grams that at least one recording holds and that are not common, rarest first.
std::vector<size_t> heldGrams(const Lookup& lookup) {
    std::vector<size_t> held;
    for (size_t gram = 0; gram < lookup.size(); ++gram) {
        const uint64_t frequency = lookup.frequency(gram);
        if (frequency > 0 && frequency < kCommonGram) held.push_back(gram);
    }
    std::stable_sort(held.begin(), held.end(),
                     [&](size_t a, size_t b) { return lookup.frequency(a) < lookup.frequency(b); });
    return held;
}

// How many of the grams, rarest first, have at most this many postings together.
size_t gramsWithin(const Lookup& lookup, const std::vector<size_t>& grams, uint64_t postings) {
    size_t count = 0;
    uint64_t sum = 0;
    while (count < grams.size() && (count < kMinGrams || sum + lookup.frequency(grams[count]) <= postings)) {
        sum += lookup.frequency(grams[count++]);
    }
    return count;
}

// Adds up the weights of those grams.
void addUp(Lookup& lookup, std::span<const size_t> grams, uint64_t recordings) {
    std::vector<WeightedGram> weighted;
    weighted.reserve(grams.size());
    for (const size_t gram : grams) weighted.push_back({gram, weightOf(lookup.frequency(gram), recordings)});
    lookup.add(weighted);
}

bool standsOut(const std::vector<ScoredRecording>& scored) {
    if (scored.size() <= kComparedPlace) return true;
    return uint64_t{scored.front().score} * 100 >= uint64_t{scored[kComparedPlace].score} * kStandsOutPercent;
}

// Measures the likeliest candidates and sorts all by their bits.
void measureBest(const PreparedQuery& query, std::vector<Candidate>& candidates) {
    const auto higher = [](const Candidate& a, const Candidate& b) { return a.alignment.bits > b.alignment.bits; };
    std::stable_sort(candidates.begin(), candidates.end(), higher);
    const bool clear = candidates.front().alignment.bits >= kClearBits;
    const size_t most = std::min(clear ? kMaxMeasuredOfClear : kMaxMeasured, candidates.size());
    for (size_t i = 0; i < most; ++i) {
        measure(query, candidates[i].recording.codes, candidates[i].alignment);
    }
    std::stable_sort(candidates.begin(), candidates.end(), higher);
}

// Judges the first of the candidates against the others.
void weigh(const PreparedQuery& query, std::vector<Candidate>& candidates, uint64_t recordings) {
    Candidate& best = candidates.front();
    refineStart(query, best.recording.codes, best.alignment);
    best.evidence.bits = best.alignment.bits;
    best.evidence.queryBits = query.bits();
    best.evidence.recordings = recordings;
    for (size_t i = 1; i < candidates.size(); ++i) {
        Candidate& other = candidates[i];
        const double apart = stretchDistance(best.recording.codes, best.alignment.startFrame, other.recording.codes,
                                             other.alignment.startFrame, query.frames);
        if (apart >= kSameRecording) {
            best.evidence.rivalBits = other.alignment.bits;
            break;
        }
        refineStart(query, other.recording.codes, other.alignment);
        other.sameAs = best.id;
    }
    best.chance = chanceOf(best.evidence);
    best.accepted = best.chance >= kMinChance;
}

std::vector<Candidate> judge(CatalogueReader& reader, const PreparedQuery& query,
                             const std::vector<ScoredRecording>& heaviest, uint64_t recordings) {
    std::vector<Candidate> candidates;
    double mostBits = 0;
    for (const ScoredRecording& scored : heaviest) {
        if (candidates.size() >= kClearCandidates && mostBits >= kClearBits) break;
        std::optional<Recording> recording = reader.recording(scored.id);
        if (!recording) continue; // removed meanwhile
        Candidate candidate;
        candidate.id = scored.id;
        candidate.score = scored.score;
        candidate.alignment =
            align(query, recording->codes, candidates.size() < kMaxCandidates ? Look::kFull : Look::kGlance);
        candidate.recording = std::move(*recording);
        mostBits = std::max(mostBits, candidate.alignment.bits);
        candidates.push_back(std::move(candidate));
    }
    if (!candidates.empty()) {
        measureBest(query, candidates);
        weigh(query, candidates, recordings);
    }
    return candidates;
}

} // namespace

Examination examine(CatalogueReader& reader, const FingerprintQuery& query) {
    Examination result;
    const PreparedQuery prepared(query);
    if (!prepared.usable()) {
        result.refusal = "the fingerprint has too few letters, too few different ones, or too many";
        return result;
    }
    const uint64_t recordings = reader.recordingCount();
    Lookup lookup = reader.lookUp(prepared.lists(reader.gramLetters()));
    const std::vector<size_t> grams = heldGrams(lookup);
    const size_t mostOfAll = recordings <= kSmallCatalogue ? kMaxOfSmall : kMaxCandidates;
    const size_t rarest = std::min(kRarestGrams, gramsWithin(lookup, grams, kFirstPostings));
    const size_t all = gramsWithin(lookup, grams, kMaxPostings);
    // Adds the weights of the first `count` grams, without those that the stage before added.
    const auto addStage = [&](size_t count) {
        addUp(lookup, std::span(grams).subspan(result.grams, count - result.grams), recordings);
        result.grams = count;
        ++result.stages;
    };
    const auto judgeAndAccept = [&](const std::vector<ScoredRecording>& scored) {
        result.candidates = judge(reader, prepared, scored, recordings);
        return !result.candidates.empty() && result.candidates.front().accepted;
    };
    addStage(rarest);
    const std::vector<ScoredRecording> first = reader.best(kMaxCandidates);
    if (!standsOut(first) || !judgeAndAccept(first)) {
        addStage(all);
        judgeAndAccept(reader.best(mostOfAll));
    }
    result.complete = lookup.complete() && reader.complete();
    return result;
}

uint32_t offsetMs(const Alignment& alignment) {
    return static_cast<uint32_t>(
        std::lround(static_cast<double>(std::max<int64_t>(alignment.startFrame, 0)) * kFrameMs));
}

} // namespace tarn::server
