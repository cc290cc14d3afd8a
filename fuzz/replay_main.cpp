// SPDX-License-Identifier: Apache-2.0
// Runs a target on files and folders of files, and on every shorter beginning of each, without a fuzzing engine.
#include "fuzz_target.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

namespace {

size_t replayFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    for (size_t size = 0; size <= bytes.size(); ++size) LLVMFuzzerTestOneInput(data, size);
    return bytes.size() + 1;
}

} // namespace

int main(int argumentCount, char** arguments) {
    size_t inputs = 0;
    for (int i = 1; i < argumentCount; ++i) {
        const std::filesystem::path path(arguments[i]);
        if (!std::filesystem::is_directory(path)) {
            inputs += replayFile(path);
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
            if (entry.is_regular_file()) inputs += replayFile(entry.path());
        }
    }
    std::cout << inputs << " inputs\n";
    return inputs == 0 ? 1 : 0;
}
