// SPDX-License-Identifier: Apache-2.0
// Which recordings go because all their files are gone, and which lose some of their paths.
#pragma once

#include "catalogue/catalogue.h"

#include <string>
#include <vector>

namespace tarn::server {

// A file is gone if the system says that there is none of that name. One that cannot be reached is not.
bool isGone(const std::string& path);

struct RemainingPaths {
    uint32_t id = 0;
    std::vector<std::string> paths; // at least one
};

struct Pruning {
    std::vector<Recording> gone;            // without their letters
    std::vector<RemainingPaths> fewerPaths; // of recordings that some of their files still hold
    // Folders below which nothing is pruned, a line each with the reason and what to do: a disk that is not mounted
    // leaves a folder that is missing or empty.
    std::vector<std::string> refusals;
};

// Looks below the folders, of which one inside another has the last word.
Pruning planPruning(CatalogueReader& reader, const std::vector<std::string>& folders);

} // namespace tarn::server
