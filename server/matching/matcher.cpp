#include "matching/matcher.h"

#include <algorithm>
#include <cmath>

namespace tarn::server {

namespace {

constexpr size_t kMostCandidates = 20;
constexpr size_t kRarestTerms = 160;
// When so many were judged and one of them fits so well, the others are not looked at.
constexpr size_t kClearCandidates = 5;
constexpr double kClearDistance = 0.40;
// Two candidates nearer to each other than this, where the query lies, are the same recording.
constexpr double kSameRecording = 0.35;

struct Term {
    std::string text;
    uint64_t frequency;
};

// Information that a gram carries, in hundredths of a bit.
uint32_t weightOf(uint64_t frequency, uint64_t recordings) {
    const double share =
        static_cast<double>(frequency) / static_cast<double>(std::max<uint64_t>(recordings, frequency));
    return static_cast<uint32_t>(std::lround(-100.0 * std::log2(share))) + 1;
}

// The terms that some recording holds, rarest first.
std::vector<Term> heldTerms(CatalogReader& reader, const PreparedQuery& query) {
    std::vector<Term> held;
    for (std::string& text : query.terms()) {
        const uint64_t frequency = reader.frequency(text);
        if (frequency > 0) held.push_back({std::move(text), frequency});
    }
    std::sort(held.begin(), held.end(), [](const Term& a, const Term& b) {
        return a.frequency != b.frequency ? a.frequency < b.frequency : a.text < b.text;
    });
    return held;
}

// Judges the first of the candidates against the others.
void weigh(const PreparedQuery& query, std::vector<Candidate>& candidates) {
    Candidate& best = candidates.front();
    refineStart(query, best.recording.codes, best.alignment);
    best.evidence.distance = best.alignment.distance;
    best.evidence.letters = best.alignment.letters;
    for (size_t i = 1; i < candidates.size(); ++i) {
        Candidate& other = candidates[i];
        const double apart = stretchDistance(best.recording.codes, best.alignment.startFrame, other.recording.codes,
                                             other.alignment.startFrame, query.frames);
        if (apart >= kSameRecording) {
            best.evidence.rivalDistance = other.alignment.distance;
            break;
        }
        refineStart(query, other.recording.codes, other.alignment);
        other.sameAs = best.id;
        // Whichever of the two weighs most, the recording does.
        best.evidence.firstByWeight = best.evidence.firstByWeight || other.evidence.firstByWeight;
    }
    best.chance = chanceOf(best.evidence);
    best.accepted = best.chance >= kLeastChance;
}

std::vector<Candidate> judge(CatalogReader& reader, const PreparedQuery& query, const std::vector<Term>& terms,
                             size_t termCount, uint64_t recordings) {
    std::vector<WeightedTerm> weighted;
    weighted.reserve(termCount);
    for (size_t i = 0; i < termCount; ++i) {
        weighted.push_back({terms[i].text, weightOf(terms[i].frequency, recordings)});
    }
    std::vector<Candidate> candidates;
    double nearest = 1.0;
    for (const ScoredRecording& scored : reader.best(weighted, kMostCandidates)) {
        if (candidates.size() >= kClearCandidates && nearest <= kClearDistance) break;
        std::optional<Recording> recording = reader.recording(scored.id);
        if (!recording) continue; // removed meanwhile
        Candidate candidate;
        candidate.id = scored.id;
        candidate.score = scored.score;
        candidate.alignment = align(query, recording->codes);
        candidate.recording = std::move(*recording);
        candidate.evidence.firstByWeight = candidates.empty();
        nearest = std::min(nearest, candidate.alignment.distance);
        candidates.push_back(std::move(candidate));
    }
    std::stable_sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
        return a.alignment.distance < b.alignment.distance;
    });
    if (!candidates.empty()) weigh(query, candidates);
    return candidates;
}

} // namespace

Examination examine(CatalogReader& reader, const FingerprintQuery& query) {
    Examination result;
    const PreparedQuery prepared(query);
    if (!prepared.usable()) {
        result.refusal = "the fingerprint has too few letters, too few different ones, or too many";
        return result;
    }
    const uint64_t recordings = reader.recordingCount();
    const std::vector<Term> terms = heldTerms(reader, prepared);
    for (const size_t most : {kRarestTerms, terms.size()}) {
        ++result.stages;
        result.terms = std::min(most, terms.size());
        result.candidates = judge(reader, prepared, terms, result.terms, recordings);
        if (result.terms == terms.size()) break;
        if (!result.candidates.empty() && result.candidates.front().accepted) break;
    }
    return result;
}

uint32_t offsetMs(const Alignment& alignment) {
    return static_cast<uint32_t>(
        std::lround(static_cast<double>(std::max<int64_t>(alignment.startFrame, 0)) * kFrameMs));
}

} // namespace tarn::server
