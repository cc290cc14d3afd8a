// SPDX-License-Identifier: Apache-2.0
// Annotated dumps beside the golden files: lines of "offset  bytes  meaning", offsets and bytes hexadecimal, bytes
// separated by single spaces, columns by two or more; lines that begin with # are notes.
#pragma once

#include "support/hex.h"

#include <fstream>
#include <stdexcept>
#include <string>

namespace kvxtest {

// The bytes that the dump of a golden file spells out; throws where an offset is not that of the bytes so far.
inline Bytes dumpedBytes(const std::string& name) {
    std::ifstream in(std::string(TARN_TEST_DATA) + "/" + name);
    if (!in) throw std::runtime_error("no dump " + name);
    Bytes bytes;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        const size_t column = line.find("  ");
        if (std::stoul(line.substr(0, column), nullptr, 16) != bytes.size()) throw std::runtime_error(line);
        const size_t begin = column + 2;
        const size_t end = line.find("  ", begin);
        const Bytes more = fromHex(line.substr(begin, end == std::string::npos ? end : end - begin));
        bytes.insert(bytes.end(), more.begin(), more.end());
    }
    return bytes;
}

} // namespace kvxtest
