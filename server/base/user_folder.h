// SPDX-License-Identifier: Apache-2.0
// The folders in which a user's programs keep what is theirs.
#pragma once

#include <filesystem>

namespace tarn::server {

// The value of an environment variable; empty: it is not set. Only before the program has threads.
std::filesystem::path fromEnvironment(const char* name);

// The folder that the variable names, such as XDG_CACHE_HOME; where it is not set, this one under the user's home.
std::filesystem::path userFolder(const char* variable, const char* underHome);

} // namespace tarn::server
