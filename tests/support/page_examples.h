// SPDX-License-Identifier: Apache-2.0
// The examples of a page of docs/formats: what lies between its fences, and the bytes of one that is a dump.
#pragma once

#include "support/files.h"

#include <sstream>
#include <string>
#include <vector>

namespace kvxtest {

inline std::vector<std::string> examplesOf(const std::string& page) {
    std::istringstream text(contents(std::string(TARN_TEST_DATA) + "/../../docs/formats/" + page));
    std::vector<std::string> found;
    bool inside = false;
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with("```")) {
            inside = !inside;
            if (inside) found.emplace_back();
        } else if (inside) {
            found.back() += line + "\n";
        }
    }
    return found;
}

// Two digits for each byte, up to the explanation after several spaces.
inline std::string bytesOfDump(const std::string& dump) {
    std::string bytes;
    std::istringstream lines(dump);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream digits(line.substr(0, line.find("  ")));
        for (std::string pair; digits >> pair;) bytes += static_cast<char>(std::stoul(pair, nullptr, 16));
    }
    return bytes;
}

} // namespace kvxtest
