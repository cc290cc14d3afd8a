// SPDX-License-Identifier: Apache-2.0
// A catalogue in a cluster of Redis servers, or in one such server (catalogue/redis/location.h says how it is named).
//
// Lists and values are always as they are now; refresh() is true once a second at most. Nothing is atomic over several
// keys: a commit keeps the order in which its values change, kind by kind (the first letter of their keys), after the
// postings.
#pragma once

#include "catalogue/store.h"

#include <memory>
#include <string>

namespace tarn::server {

std::unique_ptr<StoreReader> openRedisReader(const std::string& location);
std::unique_ptr<StoreWriter> openRedisWriter(const std::string& location, bool make);

} // namespace tarn::server
