// SPDX-License-Identifier: Apache-2.0
// A command that does not exist, most of the time one that is misspelt.
#pragma once

#include <CLI/App.hpp>
#include <optional>
#include <string>

namespace tarn::server {

// Of a command line that could not be parsed: what to say when its command is not one of app's, or its subcommand not
// one of the command's.
std::optional<std::string> answerToUnknownCommand(const CLI::App& app);

} // namespace tarn::server
