// SPDX-License-Identifier: Apache-2.0
// tarn-server duplicates: what the catalogue holds more than once, the best file of each first.
#pragma once

#include <iosfwd>
#include <string>

namespace tarn::server {

// Prints the groups, or with json one object of them. Only files of recordings in groups are opened, to see what they
// are. Exit status: 0; 1 where there is a failure, with the reason on err, or a damaged recording, which is named
// there.
int runDuplicates(const std::string& catalogue, bool json, std::ostream& out, std::ostream& err);

} // namespace tarn::server
