// SPDX-License-Identifier: Apache-2.0
// tarn-server add: files and folders into the catalogue.
#pragma once

#include "audio/media_process.h"
#include "ingest/file_walk.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

namespace tarn::server {

struct AddOptions {
    std::string catalogue;
    std::vector<std::string> paths;
    // Folders that names for missing tags may be taken below, and recordings pruned whose files are gone.
    std::vector<std::string> folders;
    bool namesFromFolders = true;
    bool prune = false;
    std::function<bool(const FoundFile&)> leaveOut; // files that are not to be read yet
    std::function<bool()> stopped;                  // asked often; true: what is read is committed, and the run ends
    unsigned gramLetters = 0;                       // of a new catalogue; 0: as usual
    size_t workers = 0;                             // threads that decode; 0: one for each processor
    size_t batchFiles = 500;                        // committed together; larger ones are slower and take more memory
    std::chrono::milliseconds batchTime{5'000};     // or after this time, if that is sooner
    bool progressBar = false;                       // on out, in place of a line for each file
};

// Exit statuses.
constexpr int kAllInCatalogue = 0;
constexpr int kAddFailed = 1;    // the catalogue cannot be opened or written
constexpr int kFilesSkipped = 2; // everything else is in the catalogue; or a folder was not pruned

// Decodes and codes on all workers, writes on the calling thread. A file is reported as added or updated once it is
// committed: what was reported survives anything. What cannot be used is named on err and skipped.
// folders are the paths, unless they are given.
int runAdd(AddOptions options, std::ostream& out, std::ostream& err);
// With processes that read files, made before the program had other threads.
int runAdd(const AddOptions& options, std::span<MediaProcess> processes, std::ostream& out, std::ostream& err);
// As many as the options ask for.
std::vector<MediaProcess> makeMediaProcesses(size_t workers);

} // namespace tarn::server
