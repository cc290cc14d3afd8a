// SPDX-License-Identifier: Apache-2.0
#include "commands/watch.h"

#include "commands/options/declarations.h"

namespace tarn::server {

void declareWatch(CommandLine& line) {
    struct Options {
        WatchOptions watch;
        bool withoutFolderNames = false;
    };
    const auto options = std::make_shared<Options>();
    AddOptions& add = options->watch.add;
    Command command = line.command("watch", "Keep the catalogue as folders are: add what comes, remove what goes");
    addCatalogueOption(command, add.catalogue);
    command.argument("FOLDER", add.paths, "Folders of audio files");
    command.seconds("--settle-seconds", options->watch.settle,
                    "How long a file must not have changed before it is read");
    command.flag("--no-names-from-folders", options->withoutFolderNames,
                 "Do not take names that the tags lack from the path");
    command.number("--workers", add.workers, 0, 1024, "Threads that decode; 0: one for each processor");
    addGramLettersOption(command, add.gramLetters, "Letters of a gram in a new catalogue, 5 to 7; 0: as usual");
    command.runs(toTheEnd([options](std::ostream& out, std::ostream& err) {
        options->watch.add.namesFromFolders = !options->withoutFolderNames;
        return runWatch(options->watch, out, err);
    }));
}

} // namespace tarn::server
