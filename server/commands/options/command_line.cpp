// SPDX-License-Identifier: Apache-2.0
#include "commands/options/command_line.h"

#include "commands/options/command_line_errors.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <csignal>
#include <ostream>

namespace tarn::server {

namespace {

constexpr int kUsageStatus = 64;

} // namespace

Action toTheEnd(Action action) {
    return [action = std::move(action)](std::ostream& out, std::ostream& err) {
        std::signal(SIGPIPE, SIG_IGN);
        return action(out, err);
    };
}

void Command::runs(Action action) {
    app_.callback([&chosen = chosen_, action = std::move(action)] { chosen = action; });
}

Command Command::command(const char* name, const char* help) {
    app_.require_subcommand(1);
    return {*app_.add_subcommand(name, help), chosen_};
}

CommandLine::CommandLine(const char* program, const char* about, const char* version)
    : app_(std::make_unique<CLI::App>(about, program)), chosen_(std::make_unique<Action>()) {
    app_->require_subcommand(1);
    app_->set_version_flag("--version", std::string(program) + " " + version);
}

CommandLine::~CommandLine() = default;

Command CommandLine::command(const char* name, const char* help) {
    return {*app_->add_subcommand(name, help), *chosen_};
}

Command CommandLine::whole() {
    app_->require_subcommand(0);
    return {*app_, *chosen_};
}

int CommandLine::run(int argc, char** argv, std::ostream& out, std::ostream& err) const {
    try {
        app_->parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (const auto answer = answerToUnknownCommand(*app_)) {
            err << *answer << '\n';
            return kUsageStatus;
        }
        if (error.get_exit_code() == 0) return app_->exit(error, out, err); // --help, --version
        err << answerToUsageError(*app_, error) << '\n';
        return kUsageStatus;
    }
    return (*chosen_)(out, err);
}

} // namespace tarn::server
