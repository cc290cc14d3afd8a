// SPDX-License-Identifier: Apache-2.0
// What the program consists of: each function declares subcommands with their options, in the order of the help.
#pragma once

#include "commands/options/command_line.h"

#include <string>

namespace tarn::server {

void declareAdd(CommandLine& line);
void declareWatch(CommandLine& line);
void declareServe(CommandLine& line);
void declareAccount(CommandLine& line);
void declareCatalogueCommands(CommandLine& line); // list, show, remove, duplicates, check, stats, compact
void declareTransfer(CommandLine& line);          // backup, restore, export, import
void declareIdentify(CommandLine& line);

// Options that several of them have.
void addCatalogueOption(Command& command, std::string& catalogue);
void addAccountsOption(Command& command, std::filesystem::path& file);
void addJsonOption(Command& command, bool& json);
void addGramLettersOption(Command& command, unsigned& letters, const char* help);

} // namespace tarn::server
