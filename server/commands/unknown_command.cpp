// SPDX-License-Identifier: Apache-2.0
#include "commands/unknown_command.h"

#include <edlib.h>

namespace tarn::server {

namespace {

constexpr int kMaxTypos = 2;

// Letters to replace, add or leave out until both are the same.
int typosBetween(const std::string& one, const std::string& other) {
    const EdlibAlignResult result = edlibAlign(one.data(), static_cast<int>(one.size()), other.data(),
                                               static_cast<int>(other.size()), edlibDefaultAlignConfig());
    const int distance = result.editDistance;
    edlibFreeAlignResult(result);
    return distance;
}

// Empty where none is near.
std::string nearestCommand(const CLI::App& parent, const std::string& name) {
    std::string nearest;
    int least = kMaxTypos + 1;
    for (const CLI::App* command : parent.get_subcommands([](const CLI::App*) { return true; })) {
        const int typos = typosBetween(name, command->get_name());
        if (typos >= least) continue;
        least = typos;
        nearest = command->get_name();
    }
    return nearest;
}

} // namespace

std::optional<std::string> answerToUnknownCommand(const CLI::App& app) {
    const CLI::App* parent = &app;
    std::string path = app.get_name();
    while (!parent->get_subcommands().empty()) {
        parent = parent->get_subcommands().front();
        path += " " + parent->get_name();
    }
    const std::vector<std::string> rest = app.remaining(true);
    const bool hasCommands = parent->get_require_subcommand_min() > 0;
    if (!hasCommands || rest.empty() || rest.front().starts_with('-')) return std::nullopt;
    const std::string& name = rest.front();
    const std::string nearest = nearestCommand(*parent, name);
    std::string answer = path + ": there is no command \"" + name + "\"";
    if (!nearest.empty()) answer += "; did you mean \"" + nearest + "\"?";
    return answer + (nearest.empty() ? "; " : " ") + path + " --help lists them";
}

} // namespace tarn::server
