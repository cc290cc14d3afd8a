// SPDX-License-Identifier: Apache-2.0
// Files of a temporary directory: what they hold, and files that hold secrets.
#pragma once

#include "support/temporary_directory.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kvxtest {

inline std::string contents(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// With the mode of a file that holds secrets.
inline void writePrivate(const std::filesystem::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
    std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

} // namespace kvxtest
