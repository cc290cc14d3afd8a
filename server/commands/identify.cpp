// SPDX-License-Identifier: Apache-2.0
#include "commands/identify.h"

#include "base/text.h"
#include "matching/matcher.h"

#include <fmt/format.h>
#include <string>

namespace tarn::server {

namespace {

// Minutes, seconds and milliseconds: 1:02.345.
std::string placeText(uint32_t milliseconds) {
    return fmt::format("{}:{:06.3f}", milliseconds / 60000, milliseconds % 60000 / 1000.0);
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
    return "not accepted: confidence " + chance + " is below " + std::to_string(confidenceOf(kMinChance));
}

} // namespace

bool identify(CatalogueReader& reader, const FingerprintQuery& query, std::ostream& out) {
    const Examination examination = examine(reader, query);
    if (!examination.refusal.empty()) {
        out << "Not looked up: " << examination.refusal << '\n';
        return false;
    }
    out << counted(examination.grams, "gram") << " looked up in "
        << counted(static_cast<uint64_t>(examination.stages), "stage") << ", "
        << counted(examination.candidates.size(), "candidate") << '\n';
    bool isBest = true;
    for (const Candidate& candidate : examination.candidates) {
        const Coding& coding = kCodings[candidate.alignment.coding];
        out << "  " << candidate.id << "  " << nameOf(candidate.recording) << "\n      weight "
            << fmt::format("{:.1f}", candidate.score / 100.0) << ", " << fmt::format("{:.0f}", candidate.alignment.bits)
            << " bits, at " << placeText(offsetMs(candidate.alignment)) << " (map " << candidate.alignment.map
            << ", phase " << coding.phaseSamples << (coding.halvings > 0 ? " quiet" : "")
            << "): " << verdict(candidate, isBest) << '\n';
        isBest = false;
    }
    return !examination.candidates.empty() && examination.candidates.front().accepted;
}

} // namespace tarn::server
