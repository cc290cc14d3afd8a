// SPDX-License-Identifier: Apache-2.0
// tarn-server backup, restore, export and import: a catalogue from one place to another.
#pragma once

#include <iosfwd>
#include <string>

namespace tarn::server {

// A copy of the catalogue in a folder that is new or empty, consistent while others read and write.
int runBackup(const std::string& catalogue, const std::string& destination, std::ostream& out, std::ostream& err);
// The other way round: a copy, looked through first, becomes the catalogue.
int runRestore(const std::string& catalogue, const std::string& copy, std::ostream& out, std::ostream& err);

// A line of JSON for each recording, with everything that is stored of it (docs/formats/export.md).
int runExport(const std::string& catalogue, std::ostream& out, std::ostream& err);
// Adds them, or updates those of the same audio. path: a file of such lines; "-" is `in`.
int runImport(const std::string& catalogue, const std::string& path, std::istream& in, std::ostream& out,
              std::ostream& err);

} // namespace tarn::server
