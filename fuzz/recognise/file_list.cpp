// SPDX-License-Identifier: Apache-2.0
// A list of names, a name a line or with zero bytes between.
//
// Holds: it is refused, or its names hold no separator, are not empty, and put together again are the list but for
// empty names.
#include "ingest/file_list.h"

#include "fuzz_target.h"

#include <sstream>
#include <stdexcept>
#include <string>

namespace {

std::string withoutEmpty(const std::string& text, char separator) {
    std::string kept;
    for (const char c : text) {
        if (c == separator && (kept.empty() || kept.back() == separator)) continue;
        kept += c;
    }
    if (!kept.empty() && kept.back() != separator) kept += separator;
    return kept;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace tarn::server;
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const char separator : {'\n', '\0'}) {
        std::istringstream in(text);
        try {
            std::string joined;
            for (const std::string& name : readFileList(in, separator)) {
                REQUIRE(!name.empty() && name.size() <= kMaxNameBytes);
                joined += name + separator;
            }
            REQUIRE(joined == withoutEmpty(text, separator));
        } catch (const std::runtime_error&) {
            REQUIRE(size > kMaxNameBytes);
        }
    }
    return 0;
}
