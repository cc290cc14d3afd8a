// SPDX-License-Identifier: Apache-2.0
#include "ingest/file_list.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <streambuf>

namespace tarn::server {

bool FileListReader::next(std::string& name) {
    while (readName(name)) {
        if (!name.empty()) return true;
    }
    return false;
}

bool FileListReader::readName(std::string& name) {
    name.clear();
    ++number_;
    const auto fail = [this](const char* what) {
        throw FileListError("name " + std::to_string(number_) + " of the list " + what);
    };
    bool read = false;
    for (char c = 0; list_.get(c); read = true) {
        if (c == static_cast<char>(end_)) return true;
        if (c == '\0') fail("holds a zero byte; if the names are separated by zero bytes, give --null");
        if (name.size() == kMaxNameBytes) {
            fail(end_ == NameEnd::kZeroByte
                     ? "has more than 4095 bytes; with --null, names are separated by zero bytes"
                     : "has more than 4095 bytes; names are separated by line feeds, or with --null by zero bytes");
        }
        name += c;
    }
    if (list_.bad()) throw FileListError("the list cannot be read to its end; none of its files was taken");
    return read;
}

std::vector<std::string> readFileList(const std::string& file, NameEnd end, std::istream& standardInput) {
    std::ifstream opened;
    if (file != "-") {
        errno = 0;
        opened.open(file, std::ios::binary);
        if (!opened || opened.peek() == std::ifstream::traits_type::eof()) {
            if (errno != 0)
                throw FileListError(file + ": " + std::strerror(errno) +
                                    "; give --files-from a file of names, or - for standard input");
            opened.clear();
        }
    }
    std::istream& list = file == "-" ? standardInput : opened;
    FileListReader reader(list, end);
    std::vector<std::string> names;
    for (std::string name; reader.next(name);) names.push_back(name);
    return names;
}

} // namespace tarn::server
