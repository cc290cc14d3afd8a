// SPDX-License-Identifier: Apache-2.0
#include "ingest/file_list.h"

#include "base/file_descriptor.h"
#include "base/text.h"

#include <fstream>
#include <iostream>
#include <stdexcept>

namespace tarn::server {

std::vector<std::string> readFileList(std::istream& in, char separator) {
    std::vector<std::string> names;
    std::string name;
    const auto end = [&] {
        if (!name.empty()) names.push_back(std::move(name));
        name.clear();
    };
    for (int c = in.get(); c != std::istream::traits_type::eof(); c = in.get()) {
        if (static_cast<char>(c) == separator) {
            end();
            continue;
        }
        if (name.size() == kMaxNameBytes) {
            throw std::runtime_error("name " + std::to_string(names.size() + 1) + " is longer than " +
                                     std::to_string(kMaxNameBytes) + " bytes" +
                                     (separator == '\n' ? "; names that end with a zero byte need --null" : ""));
        }
        name += static_cast<char>(c);
    }
    if (in.bad()) throw std::runtime_error("it cannot be read to its end");
    end();
    return names;
}

std::vector<std::string> readFileList(const std::string& file, char separator) {
    const std::string shown = file == "-" ? "standard input" : inOneLine(file);
    try {
        if (file == "-") return readFileList(std::cin, separator);
        std::ifstream in(file, std::ios::binary);
        if (!in) throw std::runtime_error(errnoText("", "the list cannot be opened"));
        return readFileList(in, separator);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(shown + ": " + error.what());
    }
}

} // namespace tarn::server
