// SPDX-License-Identifier: Apache-2.0
#include "commands/identify.h"

#include "matching/matcher.h"

#include <cstdio>
#include <string>

namespace tarn::server {

namespace {

std::string withDecimals(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string clock(uint32_t milliseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%u:%06.3f", milliseconds / 60000, milliseconds % 60000 / 1000.0);
    return text;
}

std::string nameOf(const Recording& recording) {
    if (recording.tags.artist.empty()) return recording.tags.title;
    return recording.tags.artist + " - " + recording.tags.title;
}

std::string verdict(const Candidate& candidate, bool isBest) {
    if (candidate.sameAs) return "the same recording as " + std::to_string(*candidate.sameAs);
    if (!isBest) return "another recording fits better";
    const std::string chance = std::to_string(confidenceOf(candidate.chance));
    if (candidate.accepted) return "accepted with confidence " + chance;
    return "not accepted: confidence " + chance + " is below " + std::to_string(confidenceOf(kLeastChance));
}

} // namespace

bool identify(CatalogReader& reader, const FingerprintQuery& query, std::ostream& out) {
    const Examination examination = examine(reader, query);
    if (!examination.refusal.empty()) {
        out << "Not looked up: " << examination.refusal << '\n';
        return false;
    }
    out << examination.grams << " grams looked up in " << examination.stages << " stage"
        << (examination.stages == 1 ? "" : "s") << ", " << examination.candidates.size() << " candidates\n";
    bool isBest = true;
    for (const Candidate& candidate : examination.candidates) {
        const Coding& coding = kCodings[candidate.alignment.coding];
        out << "  " << candidate.id << "  " << nameOf(candidate.recording) << "\n      weight "
            << withDecimals(candidate.score / 100.0, 1) << ", " << withDecimals(candidate.alignment.bits, 0)
            << " bits, at " << clock(offsetMs(candidate.alignment)) << " (map " << candidate.alignment.map << ", phase "
            << coding.phaseSamples << (coding.halvings > 0 ? " quiet" : "") << "): " << verdict(candidate, isBest)
            << '\n';
        isBest = false;
    }
    return !examination.candidates.empty() && examination.candidates.front().accepted;
}

} // namespace tarn::server
