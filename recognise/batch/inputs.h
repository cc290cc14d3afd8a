// SPDX-License-Identifier: Apache-2.0
// The files of a run, in the order in which they were named.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tarn::recognise {

struct InputFile {
    std::string name; // as results show it
    std::filesystem::path path;
    uint64_t bytes = 0;
    int64_t modifiedNs = 0;
    std::string problem; // why there is nothing to read; empty: there is
};

// A named file is taken whatever its extension; a folder gives its audio files, sorted. A path that leads nowhere is an
// input with a problem.
std::vector<InputFile> inputsOf(const std::vector<std::string>& names);

} // namespace tarn::recognise
