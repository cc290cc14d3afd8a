// The making of a main database: large, compacted, without term lists, never changed.
#pragma once

#include "catalog/hidden_ids.h"

#include <xapian.h>

#include <filesystem>

namespace tarn::server {

// What becomes one main database.
struct MergeSources {
    Xapian::Database main;
    Xapian::Database recent; // all ids above those of main
    HiddenIds hidden;        // of main
};

// Both databases as they are, hidden recordings and all. work: a place beside target for what is passing.
void joinInto(const std::filesystem::path& target, const MergeSources& sources, const std::filesystem::path& work);
// Written anew from the recordings' own bytes, without the hidden ones: as long as adding them took, audio aside.
void rewriteInto(const std::filesystem::path& target, const MergeSources& sources, const std::filesystem::path& work);

} // namespace tarn::server
