// SPDX-License-Identifier: Apache-2.0
// The recordings that the words of a command line mean.
#pragma once

#include "catalogue/catalogue.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::server {

// A mistyped place is no reason to make a catalogue there: throws CatalogueError where there is none.
void expectCatalogue(const std::string& catalogue);

// By number or track id; not all of them need be there.
std::vector<uint32_t> idsNamed(CatalogueReader& reader, const std::string& name);
// Of a file with that path, or of the files below the folder; neither need exist.
std::vector<uint32_t> idsAtPath(CatalogueReader& reader, const std::string& path);

CatalogueError noRecording(const std::string& name);

} // namespace tarn::server
