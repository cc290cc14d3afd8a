// SPDX-License-Identifier: Apache-2.0
// The files of the page in the program. The build writes the table (cmake/embed_page.cmake).
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace tarn::server {

struct PageFile {
    std::string_view path;               // as in a request, "/style.css"
    const char* type;                    // of the media
    std::string_view digest;             // of the bytes, as hexadecimal digits
    std::span<const unsigned char> gzip; // the bytes, compressed
    size_t plainBytes;
};

// Empty: the program was built without the page.
std::span<const PageFile> pageFiles();

} // namespace tarn::server
