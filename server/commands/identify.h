// SPDX-License-Identifier: Apache-2.0
// What recognition makes of a file, and why, without a server.
#pragma once

#include "catalogue/catalogue.h"
#include "model/query.h"

#include <ostream>

namespace tarn::server {

// Looks the query up and prints every candidate: what its grams weigh, how well it fits where, and why it was taken or
// not. Returns whether one was accepted.
// json: as one object.
bool identify(CatalogueReader& reader, const FingerprintQuery& query, bool json, std::ostream& out);

} // namespace tarn::server
