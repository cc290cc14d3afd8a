// SPDX-License-Identifier: Apache-2.0
// Lists of names, as other programs write them: a name a line, or names that end with a zero byte.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace tarn::server {

constexpr size_t kMaxNameBytes = 4096; // no system takes a longer path

// separator: '\n' or '\0'. Empty names are left out. Throws std::runtime_error where a name is too long or reading
// fails.
std::vector<std::string> readFileList(std::istream& in, char separator);

// From that file; "-": from standard input. The error names the file.
std::vector<std::string> readFileList(const std::string& file, char separator);

} // namespace tarn::server
