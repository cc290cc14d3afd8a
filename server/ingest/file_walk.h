// SPDX-License-Identifier: Apache-2.0
// The audio files under the paths of a command line.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tarn::server {

struct FoundFile {
    std::filesystem::path path; // canonical: the same file has one, whatever leads to it
    uint64_t bytes = 0;
    int64_t modifiedNs = 0;
    bool named = false; // by itself, not found in a folder
};

struct FoundProblem {
    std::filesystem::path path;
    std::string reason;
};

struct FoundFiles {
    std::vector<FoundFile> files;       // each once, folders in the order given, names within them sorted by bytes
    std::vector<FoundProblem> problems; // paths that are not there or cannot be looked at
};

// A file that is named is taken, whatever its name. Of a folder those are taken, at any depth, whose extension is one
// of audio files, of formats that nothing here reads too, so that nothing of a collection is passed over in silence.
// Hidden files and folders are left out. Links are followed, each folder is entered once.
FoundFiles findFiles(const std::vector<std::string>& paths);

} // namespace tarn::server
