// SPDX-License-Identifier: Apache-2.0
// Compares a query with the catalogue: finds candidates by the weight of the grams that they share with the query, the
// rarest grams first, and judges them by alignment.
#pragma once

#include "catalogue/catalogue.h"
#include "matching/alignment.h"
#include "matching/calibration.h"
#include "model/query.h"

#include <optional>
#include <string>
#include <vector>

namespace tarn::server {

struct Candidate {
    uint32_t id = 0;
    uint32_t score = 0; // sum of its grams' weights
    Alignment alignment;
    std::optional<uint32_t> sameAs; // the better candidate that holds the same recording
    double chance = 0;              // of the best candidate only; evidence has what it was judged by
    Evidence evidence;
    bool accepted = false;
    Recording recording;
};

struct Examination {
    std::string refusal; // why the query was not looked up; empty: it was
    int stages = 0;      // 1: the rarest grams were enough; 2: more were needed
    size_t grams = 0;    // looked up
    bool complete =
        true; // false: a part of the catalogue did not answer, so a recording that was not found may be there
    std::vector<Candidate> candidates; // best first
};

Examination examine(CatalogueReader& reader, const FingerprintQuery& query);

// Milliseconds from the start of the recording.
uint32_t offsetMs(const Alignment& alignment);

} // namespace tarn::server
