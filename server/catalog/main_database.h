// SPDX-License-Identifier: Apache-2.0
// The making of a main database: large, compacted, without term lists, never changed.
#pragma once

#include "catalog/hidden_ids.h"

#include <xapian.h>

#include <filesystem>
#include <vector>

namespace tarn::server {

// What becomes one main database.
struct MergeSources {
    Xapian::Database main;
    Xapian::Database recent; // all ids above those of main
    HiddenIds hidden;        // of main
};

// Both databases as they are, hidden recordings and all. work: a place beside target for what is passing.
void joinInto(const std::filesystem::path& target, const MergeSources& sources, const std::filesystem::path& work);
// Written anew from the recordings' own bytes, without the hidden and the damaged ones: as long as adding them took,
// audio aside.
void rewriteInto(const std::filesystem::path& target, const MergeSources& sources, const std::filesystem::path& work);

// The recordings, not hidden, whose bytes cannot be read.
std::vector<Xapian::docid> damagedIn(const MergeSources& sources);
// Throws CatalogError unless the database holds every recording of the sources, but for the hidden and the damaged
// ones, as it was: a source that is damaged may have hidden some from the merge.
void expectMerged(const Xapian::Database& merged, const MergeSources& sources);

} // namespace tarn::server
