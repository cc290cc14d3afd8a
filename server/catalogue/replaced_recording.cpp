// SPDX-License-Identifier: Apache-2.0
#include "catalogue/replaced_recording.h"

#include <algorithm>
#include <string>
#include <vector>

namespace tarn::server {

namespace {

// A folder of silent files is one recording, and each of them would make it longer.
constexpr size_t kMaxOtherPaths = 100;

} // namespace

bool haveSameLetters(const Recording& a, const Recording& b) {
    for (size_t v = 0; v < a.codes.size(); ++v) {
        for (size_t c = 0; c < kCodebooks; ++c) {
            if (a.codes[v][c].letters != b.codes[v][c].letters) return false;
        }
    }
    return true;
}

void addPathsOf(const Recording& old, Recording& recording) {
    const auto add = [&](const std::string& path) {
        std::vector<std::string>& paths = recording.otherPaths;
        if (path.empty() || path == recording.path || paths.size() >= kMaxOtherPaths) return;
        if (std::find(paths.begin(), paths.end(), path) == paths.end()) paths.push_back(path);
    };
    add(old.path);
    for (const std::string& path : old.otherPaths) add(path);
}

} // namespace tarn::server
