// SPDX-License-Identifier: Apache-2.0
// Lists of file names that other programs write, such as find -print and find -print0.
#pragma once

#include <cstddef>
#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarn::server {

class FileListError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

enum class NameEnd : char { kLineFeed = '\n', kZeroByte = '\0' };

// One name at a time; it never holds more than one.
class FileListReader {
  public:
    static constexpr size_t kMaxNameBytes = 4095; // the longest path that the system takes

    FileListReader(std::istream& list, NameEnd end) : list_(list), end_(end) {}

    // False at the end of the list. Empty names are left out; the last name needs no end. Throws FileListError for a
    // name that is too long or holds a zero byte, and where the list cannot be read.
    bool next(std::string& name);

  private:
    bool readName(std::string& name);

    std::istream& list_;
    NameEnd end_;
    size_t number_ = 0; // of the name, from 1, empty ones included
};

// All names of a file, or of the standard input for "-". Throws FileListError.
std::vector<std::string> readFileList(const std::string& file, NameEnd end, std::istream& standardInput);

} // namespace tarn::server
