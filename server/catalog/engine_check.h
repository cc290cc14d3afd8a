// SPDX-License-Identifier: Apache-2.0
// The engine's own look for damage in one database.
#pragma once

#include <filesystem>
#include <string>

namespace tarn::server {

// What is damaged, in one line; empty: nothing. Runs in a process of its own, since some damage ends the process that
// looks at it. The engine checks only what it may write; elsewhere everything is read once. Throws CatalogError where
// it cannot look at all.
std::string engineDamage(const std::filesystem::path& database);

} // namespace tarn::server
