// SPDX-License-Identifier: Apache-2.0
#include "commands/state_paths.h"

#include "base/user_folder.h"

#include <string>

namespace tarn::server {

std::filesystem::path stateDirectory() {
    // A service manager may name several, separated by colons.
    const std::string given = fromEnvironment("STATE_DIRECTORY").string();
    if (!given.empty()) return given.substr(0, given.find(':'));
    return userFolder("XDG_STATE_HOME", ".local/state") / "tarn-server";
}

std::filesystem::path defaultAccountsFile() { return stateDirectory() / "accounts"; }

} // namespace tarn::server
