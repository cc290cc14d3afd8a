// SPDX-License-Identifier: Apache-2.0
// Where the commands keep their state when no option names another place.
#pragma once

#include <filesystem>

namespace tarn::server {

// $STATE_DIRECTORY, which a service manager sets, else $XDG_STATE_HOME/tarn-server, else ~/.local/state/tarn-server.
std::filesystem::path stateDirectory();
std::filesystem::path defaultAccountsFile();

} // namespace tarn::server
