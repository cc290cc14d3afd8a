// SPDX-License-Identifier: Apache-2.0
#include "commands/named_recordings.h"

#include "base/paths.h"
#include "base/text.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <system_error>

namespace tarn::server {

void expectCatalogue(const std::string& catalogue) { CatalogueReader{catalogue}; }

std::vector<uint32_t> idsNamed(CatalogueReader& reader, const std::string& name) {
    uint32_t id = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
    if (error == std::errc{} && end == name.data() + name.size()) return {id};
    return reader.byTrackId(name);
}

std::vector<uint32_t> idsAtPath(CatalogueReader& reader, const std::string& path) {
    std::vector<uint32_t> ids;
    if (path.empty()) return ids;
    const std::string canonical = canonicalAsFarAsItGoes(path);
    reader.forEach([&](const Recording& recording) {
        const std::vector<std::string> paths = pathsOf(recording);
        const auto isNamed = [&](const std::string& each) { return isAtOrBelow(each, canonical); };
        if (std::any_of(paths.begin(), paths.end(), isNamed)) ids.push_back(recording.id);
    });
    return ids;
}

CatalogueError noRecording(const std::string& name) {
    return CatalogueError("there is no recording " + inOneLine(name) +
                          " in the catalogue; tarn-server list shows which there are");
}

} // namespace tarn::server
