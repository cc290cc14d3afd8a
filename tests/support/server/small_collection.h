// SPDX-License-Identifier: Apache-2.0
// A few short pieces on disk, and adding them.
#pragma once

#include "catalogue/catalogue.h"
#include "commands/add.h"
#include "demo/audio_writer.h"

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace kvxtest {

inline std::vector<std::filesystem::path> writeSmallCollection(const std::filesystem::path& folder, uint32_t count,
                                                               uint64_t seed = 1) {
    return tarn::demo::writeCollection(folder, seed, count, 4, 11025, 1);
}

struct Added {
    int status = 0;
    std::string out;
    std::string err;
};

inline Added addTo(const std::filesystem::path& catalogue, const std::vector<std::string>& paths,
                   size_t batchFiles = 500) {
    std::ostringstream out;
    std::ostringstream err;
    tarn::server::AddOptions options;
    options.catalogue = catalogue.string();
    options.paths = paths;
    options.workers = 2;
    options.batchFiles = batchFiles;
    const int status = runAdd(options, out, err);
    return {status, out.str(), err.str()};
}

inline std::vector<tarn::server::Recording> recordingsIn(const std::filesystem::path& catalogue) {
    std::vector<tarn::server::Recording> recordings;
    tarn::server::CatalogueReader(catalogue.string()).forEach([&](const auto& each) { recordings.push_back(each); });
    return recordings;
}

inline size_t linesWith(const std::string& text, const std::string& start) {
    std::istringstream in(text);
    size_t count = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with(start)) ++count;
    }
    return count;
}

} // namespace kvxtest
