// SPDX-License-Identifier: Apache-2.0
#include "commands/identify.h"

#include "base/text.h"
#include "commands/json_line.h"
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

Json jsonOf(const Candidate& candidate, bool isBest) {
    const Coding& coding = kCodings[candidate.alignment.coding];
    Json json = membersOf(candidate.recording);
    json["weight"] = candidate.score / 100.0;
    json["bits"] = candidate.alignment.bits;
    json["at_ms"] = offsetMs(candidate.alignment);
    json["map"] = candidate.alignment.map;
    json["phase"] = coding.phaseSamples;
    json["quiet"] = coding.halvings > 0;
    if (candidate.sameAs) json["same_as"] = *candidate.sameAs;
    if (isBest) json["confidence"] = confidenceOf(candidate.chance);
    json["accepted"] = candidate.accepted;
    return json;
}

void printJson(const Examination& examination, bool recognised, std::ostream& out) {
    Json json = {{"recognised", recognised}};
    if (!examination.refusal.empty()) json["refusal"] = examination.refusal;
    json["grams"] = examination.grams;
    json["stages"] = examination.stages;
    Json& candidates = json["candidates"] = Json::array();
    for (const Candidate& candidate : examination.candidates)
        candidates.push_back(jsonOf(candidate, candidates.empty()));
    out << lineOf(json) << '\n';
}

void print(const Examination& examination, std::ostream& out) {
    if (!examination.refusal.empty()) {
        out << "Not looked up: " << examination.refusal << '\n';
        return;
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
}

} // namespace

bool identify(CatalogueReader& reader, const FingerprintQuery& query, bool json, std::ostream& out) {
    const Examination examination = examine(reader, query);
    const bool recognised = !examination.candidates.empty() && examination.candidates.front().accepted;
    if (json) {
        printJson(examination, recognised, out);
    } else {
        print(examination, out);
    }
    return recognised;
}

} // namespace tarn::server
