// SPDX-License-Identifier: Apache-2.0
// The audio files under the paths of a command line.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tarn::server {

struct FoundFile {
    std::filesystem::path path; // canonical: one for each file, whichever path leads to it
    uint64_t bytes = 0;
    int64_t modifiedNs = 0;
    bool named = false; // on the command line, not found in a folder
    // Canonical: names of folders below it may stand for missing tags; empty: none may.
    std::filesystem::path namesBelow;
};

struct FoundProblem {
    std::filesystem::path path;
    std::string reason;
};

struct FoundFiles {
    std::vector<FoundFile> files;       // each once, folders in the order given, names within them sorted by bytes
    std::vector<FoundProblem> problems; // paths that do not exist or cannot be read
};

// A path that names a file is taken, whatever its extension. Folders are searched at any depth for the extensions of
// audio files, including formats that we cannot decode, so that such files are reported rather than skipped silently.
// Hidden files and folders are left out. Links are followed; each folder is entered once.
FoundFiles findFiles(const std::vector<std::string>& paths);

// By its extension.
bool looksLikeAudio(const std::filesystem::path& path);
// Whether findFiles() would find a file in the folder. What cannot be read holds none.
bool holdsAudioFile(const std::string& folder);

} // namespace tarn::server
