// SPDX-License-Identifier: Apache-2.0
#include "commands/state_paths.h"

#include <cstdlib>
#include <string>

namespace tarn::server {

namespace {

std::filesystem::path fromEnvironment(const char* name) {
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): before any thread
    return value == nullptr ? "" : value;
}

} // namespace

std::filesystem::path stateDirectory() {
    // A service manager may name several, separated by colons.
    const std::string given = fromEnvironment("STATE_DIRECTORY").string();
    if (!given.empty()) return given.substr(0, given.find(':'));
    const std::filesystem::path state = fromEnvironment("XDG_STATE_HOME");
    return (state.empty() ? fromEnvironment("HOME") / ".local/state" : state) / "tarn-server";
}

std::filesystem::path defaultAccountsFile() { return stateDirectory() / "accounts"; }

} // namespace tarn::server
