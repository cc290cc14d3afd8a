// SPDX-License-Identifier: Apache-2.0
#include "base/paths.h"

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace tarn::server {

std::string canonicalAsFarAsItGoes(const std::string& path) {
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error);
    if (error) return path;
    fs::path canonical = fs::weakly_canonical(absolute, error);
    if (error) canonical = absolute.lexically_normal(); // a folder on the way cannot be entered
    std::string text = canonical.string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return text;
}

bool isAtOrBelow(std::string_view path, std::string_view folder) {
    if (folder == "/") return path.starts_with('/');
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::string_view innermostOf(const Folders& folders, std::string_view path) {
    while (!path.empty()) {
        if (const auto found = folders.find(path); found != folders.end()) return *found;
        const size_t slash = path.rfind('/');
        if (path == "/" || slash == std::string_view::npos) break;
        path = path.substr(0, slash == 0 ? 1 : slash);
    }
    return {};
}

} // namespace tarn::server
