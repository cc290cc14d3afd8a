// SPDX-License-Identifier: Apache-2.0
// Recordings that the catalogue holds more than once, found by their letters: copies of each other, such as another
// encoding of the same master, and excerpts, which are a part of another recording.
#pragma once

#include "catalogue/catalogue.h"
#include "matching/duplicate_groups.h"

#include <vector>

namespace tarn::server {

// Recordings of less than some 8 seconds say too little and are left out. Throws CatalogueUnavailable unless all of the
// catalogue answers.
std::vector<DuplicateGroup> findDuplicates(CatalogueReader& reader);

} // namespace tarn::server
