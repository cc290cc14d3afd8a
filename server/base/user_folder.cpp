// SPDX-License-Identifier: Apache-2.0
#include "base/user_folder.h"

#include <cstdlib>

namespace tarn::server {

std::filesystem::path fromEnvironment(const char* name) {
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): before any thread
    return value == nullptr ? "" : value;
}

std::filesystem::path userFolder(const char* variable, const char* underHome) {
    const std::filesystem::path named = fromEnvironment(variable);
    return named.empty() ? fromEnvironment("HOME") / underHome : named;
}

} // namespace tarn::server
