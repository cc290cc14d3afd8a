// SPDX-License-Identifier: Apache-2.0
#include "commands/transfer.h"

#include "commands/options/declarations.h"

#include <iostream>

namespace tarn::server {

namespace {

struct Options {
    std::string catalogue;
    std::string other; // the folder or file at the other end
};

} // namespace

void declareTransfer(CommandLine& line) {
    const auto options = std::make_shared<Options>(); // of the one command that is chosen
    const auto declare = [&](const char* name, const char* help) {
        Command command = line.command(name, help);
        addCatalogueOption(command, options->catalogue);
        return command;
    };
    Command backup = declare("backup", "Copy the catalogue while it is used");
    backup.argument("FOLDER", options->other, "Where the copy goes: a folder that is new or empty");
    backup.runs(toTheEnd([options](std::ostream& out, std::ostream& err) {
        return runBackup(options->catalogue, options->other, out, err);
    }));
    Command restore = declare("restore", "Make the catalogue from a backup, where there is none");
    restore.argument("FOLDER", options->other, "Where the copy lies");
    restore.runs(toTheEnd([options](std::ostream& out, std::ostream& err) {
        return runRestore(options->catalogue, options->other, out, err);
    }));
    declare("export", "Print every recording as a line of JSON").runs([options](std::ostream& out, std::ostream& err) {
        return runExport(options->catalogue, out, err);
    });
    Command import = declare("import", "Add recordings that were exported");
    import.argument("FILE", options->other, "File of exported lines; -: standard input");
    import.runs(toTheEnd([options](std::ostream& out, std::ostream& err) {
        return runImport(options->catalogue, options->other, std::cin, out, err);
}));
} // namespace tarn::server

} // namespace tarn::server
