// SPDX-License-Identifier: Apache-2.0
// Bytes as text, so that a failing comparison shows the offset; and bytes from text.
#pragma once

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kvxtest {

using Bytes = std::vector<uint8_t>;

// 16 bytes a line, each line led by its offset.
inline std::string hexDump(std::span<const uint8_t> bytes) {
    std::string text;
    char piece[16];
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i % 16 == 0) {
            std::snprintf(piece, sizeof piece, i == 0 ? "%04zx:" : "\n%04zx:", i);
            text += piece;
        }
        std::snprintf(piece, sizeof piece, " %02x", bytes[i]);
        text += piece;
    }
    return text;
}

// Digits, with white space anywhere between them.
inline Bytes fromHex(std::string_view text) {
    Bytes bytes;
    int high = -1;
    for (const char c : text) {
        if (std::isspace(static_cast<unsigned char>(c)) != 0) continue;
        const int digit = std::isdigit(static_cast<unsigned char>(c)) != 0 ? c - '0' : std::tolower(c) - 'a' + 10;
        if (digit < 0 || digit > 15) throw std::invalid_argument("not a hexadecimal digit");
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<uint8_t>(high * 16 + digit));
            high = -1;
        }
    }
    if (high >= 0) throw std::invalid_argument("an odd number of digits");
    return bytes;
}

inline Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

inline Bytes readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot open " + path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A golden file of tests/data.
inline Bytes golden(const std::string& name) { return readFile(std::string(TARN_TEST_DATA) + "/" + name); }

} // namespace kvxtest
