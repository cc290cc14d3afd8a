// SPDX-License-Identifier: Apache-2.0
// tarn-server remove: recordings out of the catalogue.
#pragma once

#include <iosfwd>
#include <string>

namespace tarn::server {

// name: an id, a track id, or else the path of a file or of a folder, which need not exist any more. Prints a line for
// each recording, and their number for a path. Exit status: 0, or 1 with the reason on err.
int runRemove(const std::string& catalogue, const std::string& name, std::ostream& out, std::ostream& err);

} // namespace tarn::server
