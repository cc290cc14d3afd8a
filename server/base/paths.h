// SPDX-License-Identifier: Apache-2.0
// Paths of files that need not exist any more.
#pragma once

#include <string>
#include <string_view>

namespace tarn::server {

// Absolute, without links, "." and ".." as far as the path exists; the rest follows as it is written.
std::string canonicalAsFarAsItGoes(const std::string& path);

// Both canonical: the path is that of the folder, or of something below it.
bool isAtOrBelow(std::string_view path, std::string_view folder);

} // namespace tarn::server
