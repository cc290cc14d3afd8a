// SPDX-License-Identifier: Apache-2.0
#include "commands/pruning.h"

#include "base/paths.h"
#include "base/text.h"
#include "ingest/file_walk.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>

namespace tarn::server {

namespace {

struct Root {
    std::string path;    // canonical
    std::string refusal; // why nothing is pruned below it; empty: it is
    uint64_t recordings = 0;
};

// Why nothing may be pruned below the folder; empty: it may.
std::string refusalOf(const std::string& folder) {
    DIR* const opened = ::opendir(folder.c_str());
    if (opened == nullptr) return "it cannot be read (" + std::generic_category().message(errno) + ")";
    ::closedir(opened);
    return holdsAudioFile(folder) ? "" : "it holds no audio file";
}

// The longest that holds the path; null: none does.
Root* rootOf(std::vector<Root>& roots, const std::string& path) {
    Root* found = nullptr;
    for (Root& root : roots) {
        if (isAtOrBelow(path, root.path) && (found == nullptr || root.path.size() > found->path.size())) found = &root;
    }
    return found;
}

} // namespace

bool isGone(const std::string& path) {
    struct stat about {};
    return ::stat(path.c_str(), &about) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

Pruning planPruning(CatalogueReader& reader, const std::vector<std::string>& folders) {
    std::vector<Root> roots;
    for (const std::string& folder : folders) {
        struct stat about {};
        if (::stat(folder.c_str(), &about) == 0 && !S_ISDIR(about.st_mode)) continue;
        const std::string path = canonicalAsFarAsItGoes(folder);
        const bool known = std::any_of(roots.begin(), roots.end(), [&](const Root& root) { return root.path == path; });
        if (!known) roots.push_back({path, refusalOf(path), 0});
    }
    Pruning pruning;
    reader.forEach([&](const Recording& recording) {
        Root* const root = rootOf(roots, recording.path);
        if (root == nullptr) return;
        ++root->recordings;
        if (!root->refusal.empty() || !isGone(recording.path)) return;
        pruning.gone.push_back(recording);
        pruning.gone.back().codes = {};
    });
    for (const Root& root : roots) {
        if (root.refusal.empty() || root.recordings == 0) continue;
        pruning.refusals.push_back(fmt::format("nothing below {} was pruned: {}, and the catalogue has {} from there; "
                                               "mount it or make it readable, or take "
                                               "them out with tarn-server remove",
                                               inOneLine(root.path), root.refusal,
                                               counted(root.recordings, "recording")));
    }
    return pruning;
}

} // namespace tarn::server
