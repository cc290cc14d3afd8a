// SPDX-License-Identifier: Apache-2.0
// What is said of a command line that could not be parsed: a command that does not exist, most of the time one that is
// misspelt, or wrong options and arguments.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <optional>
#include <string>

namespace tarn::server {

// When the command is not one of app's, or the subcommand not one of the command's.
std::optional<std::string> answerToUnknownCommand(const CLI::App& app);
// When something else is wrong. Without a command, the help.
std::string answerToUsageError(const CLI::App& app, const CLI::ParseError& error);

} // namespace tarn::server
