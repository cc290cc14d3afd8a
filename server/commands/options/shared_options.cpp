// SPDX-License-Identifier: Apache-2.0
#include "commands/options/declarations.h"
#include "commands/state_paths.h"

namespace tarn::server {

void addCatalogueOption(Command& command, std::string& catalogue) {
    catalogue = (stateDirectory() / "catalogue").string();
    command.text("--catalogue,--catalog", catalogue, "PLACE",
                 "Catalogue: a folder, or redis://HOST:PORT[,HOST:PORT...]");
}

void addAccountsOption(Command& command, std::filesystem::path& file) {
    file = defaultAccountsFile();
    command.file("--accounts", file, "FILE", "File of the accounts");
}

void addJsonOption(Command& command, bool& json) { command.flag("--json", json, "Print JSON"); }

void addGramLettersOption(Command& command, unsigned& letters, const char* help) {
    command.oneOf("--gram-letters", letters, {0, 5, 6, 7}, help);
}

} // namespace tarn::server
