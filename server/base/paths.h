// SPDX-License-Identifier: Apache-2.0
// Paths of files that need not exist any more.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>

namespace tarn::server {

// Absolute, without links, "." and ".." as far as the path exists; the rest follows as it is written.
std::string canonicalAsFarAsItGoes(const std::string& path);

// Both canonical: the path is that of the folder, or of something below it.
bool isAtOrBelow(std::string_view path, std::string_view folder);

using Folders = std::set<std::string, std::less<>>;
// Of these folders, the innermost that the path is at or below; empty: there is none. All canonical.
std::string_view innermostOf(const Folders& folders, std::string_view path);

} // namespace tarn::server
