// SPDX-License-Identifier: Apache-2.0
// The program's command line: its subcommands, their options and arguments. Only command_line.cpp, option_kinds.cpp and
// command_line_errors.cpp know the library that parses it: a file that includes it takes long to compile.
//
// A value that an option or argument is given has to live until the action has run.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tarn::server {

// What a subcommand does: prints to both and returns the exit status.
using Action = std::function<int(std::ostream& out, std::ostream& err)>;

// Goes on when the reader of what it prints has gone: what it changes matters more. A command that only shows something
// ends there and then, as the signal has it.
Action toTheEnd(Action action);

// What is wrong with an option's text; empty: nothing.
using Check = std::function<std::string(const std::string& text)>;

// One subcommand, while it is declared. An option's help shows its value as it is before the command line is read.
class Command {
  public:
    Command(CLI::App& app, Action& chosen) : app_(app), chosen_(chosen) {}

    void runs(Action action);
    // A command of this one, which then does nothing by itself.
    Command command(const char* name, const char* help);

    void flag(const char* name, bool& value, const char* help);
    void text(const char* name, std::string& value, const char* type, const char* help);
    // Without its value in the help.
    void textOrNothing(const char* name, std::string& value, const char* type, const char* help);
    void texts(const char* name, std::vector<std::string>& values, const char* type, const char* help,
               const Check& check);
    void file(const char* name, std::filesystem::path& value, const char* type, const char* help);
    void number(const char* name, size_t& value, size_t least, size_t most, const char* help);
    void number(const char* name, int& value, int least, int most, const char* help);
    void oneOf(const char* name, unsigned& value, std::initializer_list<unsigned> values, const char* help);
    void oneOf(const char* name, std::string& value, const std::vector<std::string>& values, const char* help);
    void seconds(const char* name, std::chrono::milliseconds& value, const char* help);

    // Without "--" in front; it must be there. The name says what it is, so the help shows no type beside it.
    void argument(const char* name, std::string& value, const char* help);
    void argument(const char* name, std::vector<std::string>& values, const char* help);  // one or more
    void arguments(const char* name, std::vector<std::string>& values, const char* help); // any number
    void argument(const char* name, uint32_t& value, const char* help);                   // from 1
    // One or more, or none where the option, which is declared later, is given.
    void argumentUnless(const char* option, const char* name, std::vector<std::string>& values, const char* help);

  private:
    CLI::App& app_;
    Action& chosen_;
};

class CommandLine {
  public:
    CommandLine(const char* program, const char* about, const char* version);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    Command command(const char* name, const char* help);
    // The program as a whole, where it has no subcommands.
    Command whole();

    // Runs the subcommand that the words name. Status 64, with a line on err, where they name none or are wrong.
    int run(int argc, char** argv, std::ostream& out, std::ostream& err) const;

  private:
    std::unique_ptr<CLI::App> app_;
    std::unique_ptr<Action> chosen_;
};

} // namespace tarn::server
