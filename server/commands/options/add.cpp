// SPDX-License-Identifier: Apache-2.0
#include "commands/add.h"

#include "commands/options/declarations.h"
#include "ingest/file_list.h"

#include <exception>
#include <iostream>
#include <unistd.h>

namespace tarn::server {

namespace {

struct Options {
    AddOptions add;
    std::string filesFrom;
    bool null = false;
    bool withoutFolderNames = false;
};

int add(Options options, std::ostream& out, std::ostream& err) {
    try {
        if (!options.filesFrom.empty()) {
            const NameEnd end = options.null ? NameEnd::kZeroByte : NameEnd::kLineFeed;
            for (std::string& name : readFileList(options.filesFrom, end, std::cin))
                options.add.paths.push_back(std::move(name));
        }
    } catch (const FileListError& error) {
        err << error.what() << '\n';
        return kAddFailed;
    }
    options.add.progressBar = ::isatty(STDOUT_FILENO) == 1;
    options.add.namesFromFolders = !options.withoutFolderNames;
    return runAdd(options.add, out, err);
}

} // namespace

void declareAdd(CommandLine& line) {
    const auto options = std::make_shared<Options>();
    Command command = line.command("add", "Add files and folders to the catalogue");
    addCatalogueOption(command, options->add.catalogue);
    command.argumentUnless("--files-from", "PATH", options->add.paths, "Audio files, and folders of them");
    command.textOrNothing("--files-from", options->filesFrom, "FILE",
                          "File of further paths, one per line; -: standard input");
    command.flag("-0,--null", options->null, "The names of --files-from end with a zero byte, not a line feed");
    command.flag("--prune", options->add.prune, "Remove recordings whose files below the folders are gone");
    command.flag("--no-names-from-folders", options->withoutFolderNames,
                 "Do not take names that the tags lack from the path");
    command.number("--workers", options->add.workers, 0, 1024, "Threads that decode; 0: one for each processor");
    addGramLettersOption(command, options->add.gramLetters,
                         "Letters of a gram in a new catalogue, 5 to 7; 0: as usual");
    command.number("--batch", options->add.batchFiles, 1, 10'000, "Files that are committed together");
    command.runs(toTheEnd([options](std::ostream& out, std::ostream& err) { return add(*options, out, err); }));
}

} // namespace tarn::server
