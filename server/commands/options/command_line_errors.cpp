// SPDX-License-Identifier: Apache-2.0
#include "commands/options/command_line_errors.h"

#include <algorithm>
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

struct Chosen {
    const CLI::App* command;
    std::string path; // as it was typed: "tarn-server account add"
};

Chosen chosenCommand(const CLI::App& app) {
    Chosen chosen{&app, app.get_name()};
    while (!chosen.command->get_subcommands().empty()) {
        chosen.command = chosen.command->get_subcommands().front();
        chosen.path += " " + chosen.command->get_name();
    }
    return chosen;
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
    const auto [parent, path] = chosenCommand(app);
    const std::vector<std::string> rest = app.remaining(true);
    const bool hasCommands = parent->get_require_subcommand_min() > 0;
    if (!hasCommands || rest.empty() || rest.front().starts_with('-')) return std::nullopt;
    const std::string& name = rest.front();
    const std::string nearest = nearestCommand(*parent, name);
    std::string answer = path + ": there is no command \"" + name + "\"";
    if (!nearest.empty()) answer += "; did you mean \"" + nearest + "\"?";
    return answer + (nearest.empty() ? "; " : " ") + path + " --help lists them";
}

std::string answerToUsageError(const CLI::App& app, const CLI::ParseError& error) {
    const auto [command, path] = chosenCommand(app);
    const bool hasCommands = command->get_require_subcommand_min() > 0;
    if (hasCommands && app.remaining(true).empty()) return path + ": name one of its commands\n" + app.help();
    std::string problem = error.what();
    if (const std::vector<std::string> rest = app.remaining(true); !rest.empty()) {
        const auto option =
            std::find_if(rest.begin(), rest.end(), [](const auto& word) { return word.starts_with('-'); });
        problem = option != rest.end() ? "there is no option \"" + *option + "\""
                                       : "\"" + rest.front() + "\" is one argument too many";
    }
    return path + ": " + problem + "; " + path + " --help lists " + (hasCommands ? "the commands" : "what it takes");
}

} // namespace tarn::server
