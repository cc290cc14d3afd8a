// SPDX-License-Identifier: Apache-2.0
#include "commands/add.h"

#include "commands/options/declarations.h"

#include <unistd.h>

namespace tarn::server {

void declareAdd(CommandLine& line) {
    const auto options = std::make_shared<AddOptions>();
    Command add = line.command("add", "Add files and folders to the catalogue");
    addCatalogueOption(add, options->catalogue);
    add.argument("PATH", options->paths, "Audio files, and folders of them");
    add.number("--workers", options->workers, 0, 1024, "Threads that decode; 0: one for each processor");
    addGramLettersOption(add, options->gramLetters, "Letters of a gram in a new catalogue, 5 to 7; 0: as usual");
    add.number("--batch", options->batchFiles, 1, 10'000, "Files that are committed together");
    add.runs(toTheEnd([options](std::ostream& out, std::ostream& err) {
        options->progressBar = ::isatty(STDOUT_FILENO) == 1;
        return runAdd(*options, out, err);
    }));
}

} // namespace tarn::server
