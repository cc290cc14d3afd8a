// SPDX-License-Identifier: Apache-2.0
#include "recognise/batch/inputs.h"

#include "ingest/file_walk.h"

#include <system_error>

namespace tarn::recognise {

namespace {

// A file of a folder as the user would name it: the folder's name, and the way from there.
std::string nameIn(const std::string& folder, const std::filesystem::path& canonicalFolder,
                   const std::filesystem::path& file) {
    const std::filesystem::path way = file.lexically_relative(canonicalFolder);
    if (way.empty() || way.native().starts_with("..")) return file.string(); // a link led out of it
    return (std::filesystem::path(folder) / way).string();
}

} // namespace

std::vector<InputFile> inputsOf(const std::vector<std::string>& names) {
    std::vector<InputFile> inputs;
    inputs.reserve(names.size());
    for (const std::string& name : names) {
        const server::FoundFiles found = server::findFiles({name});
        std::error_code none;
        const std::filesystem::path folder = std::filesystem::canonical(name, none);
        for (const server::FoundFile& file : found.files) {
            inputs.push_back(
                {file.named ? name : nameIn(name, folder, file.path), file.path, file.bytes, file.modifiedNs, {}});
        }
        for (const server::FoundProblem& problem : found.problems) {
            inputs.push_back({problem.path.string(), problem.path, 0, 0, problem.reason});
        }
    }
    return inputs;
}

} // namespace tarn::recognise
