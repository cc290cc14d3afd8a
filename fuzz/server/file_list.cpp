// SPDX-License-Identifier: Apache-2.0
// Lists of file names.
//
// Holds: names are not empty, not too long, and without their separator or a zero byte; written as a list again, they
// read the same; and a list that is refused says which name is at fault.
#include "ingest/file_list.h"

#include "fuzz_target.h"

#include <sstream>
#include <string>

namespace {

using namespace tarn::server;

void readList(const std::string& bytes, NameEnd end) {
    std::istringstream in(bytes);
    std::vector<std::string> names;
    try {
        names = readFileList("-", end, in);
    } catch (const FileListError& error) {
        REQUIRE(std::string(error.what()).starts_with("name "));
        return;
    }
    std::string again;
    for (const std::string& name : names) {
        REQUIRE(!name.empty() && name.size() <= FileListReader::kMaxNameBytes);
        REQUIRE(name.find(static_cast<char>(end)) == std::string::npos && name.find('\0') == std::string::npos);
        again += name + static_cast<char>(end);
    }
    std::istringstream rewritten(again);
    REQUIRE(readFileList("-", end, rewritten) == names);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    readList(bytes, NameEnd::kLineFeed);
    readList(bytes, NameEnd::kZeroByte);
    return 0;
}
