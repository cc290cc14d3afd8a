// SPDX-License-Identifier: Apache-2.0
#include "commands/catalogue.h"

#include "commands/duplicates.h"
#include "commands/options/declarations.h"
#include "commands/remove.h"

namespace tarn::server {

namespace {

struct Options {
    std::string catalogue;
    std::string name;
    bool deep = false;
    bool json = false;
    Compaction compaction;
};

} // namespace

void declareCatalogueCommands(CommandLine& line) {
    const auto options = std::make_shared<Options>(); // of the one command that is chosen
    const auto declare = [&](const char* name, const char* help) {
        Command command = line.command(name, help);
        addCatalogueOption(command, options->catalogue);
        return command;
    };
    Command list = declare("list", "List the recordings");
    addJsonOption(list, options->json);
    list.runs([options](std::ostream& out, std::ostream& err) {
        return runList(options->catalogue, options->json, out, err);
    });
    Command show = declare("show", "Show all that is known of a recording");
    show.argument("ID", options->name, "Number or track id");
    addJsonOption(show, options->json);
    show.runs([options](std::ostream& out, std::ostream& err) {
        return runShow(options->catalogue, options->name, options->json, out, err);
    });
    Command remove = declare("remove", "Remove a recording, or those of a file or folder");
    remove.argument("ID", options->name, "Number, track id, or path of a file or folder");
    remove.runs(toTheEnd([options](std::ostream& out, std::ostream& err) {
        return runRemove(options->catalogue, options->name, out, err);
    }));
    Command duplicates = declare("duplicates", "Find recordings that are there more than once");
    addJsonOption(duplicates, options->json);
    duplicates.runs([options](std::ostream& out, std::ostream& err) {
        return runDuplicates(options->catalogue, options->json, out, err);
    });
    Command check = declare("check", "Look for damage");
    check.flag("--deep", options->deep, "Also read every list and compare the lists with the recordings");
    check.runs([options](std::ostream& out, std::ostream& err) {
        return runCheck(options->catalogue, options->deep, out, err);
    });
    Command stats = declare("stats", "Size of the catalogue");
    addJsonOption(stats, options->json);
    stats.runs([options](std::ostream& out, std::ostream& err) {
        return runStats(options->catalogue, options->json, out, err);
    });
    Command compact = declare("compact", "Take out of the lists what was removed or replaced");
    compact.flag("--purge", options->compaction.anew, "Make the lists anew from the recordings; damaged ones go");
    addGramLettersOption(compact, options->compaction.gramLetters,
                         "Letters of a gram from now on, 5 to 7; 0: as they are");
    compact.runs(toTheEnd([options](std::ostream& out, std::ostream& err) {
        return runCompact(options->catalogue, options->compaction, out, err);
    }));
}

} // namespace tarn::server
