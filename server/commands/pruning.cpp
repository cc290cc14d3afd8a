// SPDX-License-Identifier: Apache-2.0
#include "commands/pruning.h"

#include "base/paths.h"
#include "base/text.h"
#include "ingest/file_walk.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fmt/format.h>
#include <functional>
#include <map>
#include <sys/stat.h>
#include <system_error>

namespace tarn::server {

namespace {

struct Root {
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

} // namespace

bool isGone(const std::string& path) {
    struct stat about {};
    return ::stat(path.c_str(), &about) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

Pruning planPruning(CatalogueReader& reader, const std::vector<std::string>& folders) {
    Folders paths;
    std::map<std::string, Root, std::less<>> roots;
    for (const std::string& folder : folders) {
        const std::string path = canonicalAsFarAsItGoes(folder);
        if (paths.insert(path).second) roots[path].refusal = refusalOf(path);
    }
    Pruning pruning;
    const auto isDropped = [&](const std::string& path) {
        const auto found = roots.find(innermostOf(paths, path));
        return found != roots.end() && found->second.refusal.empty() && isGone(path);
    };
    reader.forEach([&](const Recording& recording) {
        const auto found = roots.find(innermostOf(paths, recording.path));
        if (found != roots.end()) ++found->second.recordings;
        std::vector<std::string> kept = pathsOf(recording);
        if (std::erase_if(kept, isDropped) == 0) return;
        if (!kept.empty()) {
            pruning.fewerPaths.push_back({recording.id, std::move(kept)});
            return;
        }
        pruning.gone.push_back(recording);
        pruning.gone.back().codes = {};
    });
    for (const auto& [path, root] : roots) {
        if (root.refusal.empty() || root.recordings == 0) continue;
        pruning.refusals.push_back(fmt::format("nothing below {} was pruned: {}, and the catalogue has {} from there; "
                                               "mount it or make it readable, or take "
                                               "them out with tarn-server remove",
                                               inOneLine(path), root.refusal, counted(root.recordings, "recording")));
    }
    return pruning;
}

} // namespace tarn::server
