// SPDX-License-Identifier: Apache-2.0
// tarn-server watch: keeps the catalogue as the folders are.
#pragma once

#include "commands/add.h"

#include <chrono>
#include <iosfwd>

namespace tarn::server {

struct WatchOptions {
    AddOptions add;                         // paths: the folders
    std::chrono::milliseconds settle{2000}; // for which a file must not have changed
};

// Adds what the folders hold and prunes what is gone, as add --prune does, then again whenever something changes, until
// SIGTERM or SIGINT, which ends it with status 0 within two seconds; what was read by then is in the catalogue. Status
// 1: the folders cannot be watched, or the first run failed.
int runWatch(const WatchOptions& options, std::ostream& out, std::ostream& err);

} // namespace tarn::server
