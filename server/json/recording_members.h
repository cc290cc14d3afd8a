// SPDX-License-Identifier: Apache-2.0
// Recordings of the catalogue as members of JSON. What is not known is left out, and no client gets a path.
#pragma once

#include "base/json.h"
#include "model/recogniser.h"

#include <vector>

namespace tarn::server {

// What a query was recognised as.
Json matchMembers(const Match& match);
// A recording of the catalogue, by itself.
Json recordingMembers(const Match& recording);
// An album with its recordings, of which there is one at least, in the order of their numbers.
Json albumMembers(std::vector<Match> recordings);

} // namespace tarn::server
