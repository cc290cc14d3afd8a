// SPDX-License-Identifier: Apache-2.0
// The kinds of options and arguments.
#include "base/text.h"
#include "commands/options/command_line.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <fmt/format.h>
#include <limits>

namespace tarn::server {

namespace {

template <class Value>
CLI::Option* shown(CLI::App& app, const char* name, Value& value, const char* type, const std::string& help) {
    return app.add_option(name, value, help)->type_name(type)->capture_default_str();
}

template <class Value>
CLI::Option* needed(CLI::App& app, const char* name, Value& value, const char* help) {
    return app.add_option(name, value, help)->type_name("")->required();
}

// The same validator with words of our own: what it expects. The help has none of them, for they would stand in the
// option's name.
CLI::Validator inWords(const CLI::Validator& validator, const std::string& expected) {
    const auto check = [validator, expected](std::string& text) {
        return validator(text).empty() ? "" : "expected " + expected + ", found \"" + inOneLine(text) + "\"";
    };
    return {check, ""};
}

template <class Number>
CLI::Validator between(Number least, Number most) {
    return inWords(CLI::Range(least, most), "an integer from " + std::to_string(least) + " to " + std::to_string(most));
}

template <class Value>
CLI::Validator oneOfThese(const std::vector<Value>& values) {
    return inWords(CLI::IsMember(values), fmt::format("one of {}", fmt::join(values, ", ")));
}

// The help shows the bounds after the text.
template <class Number>
void bounded(CLI::App& app, const char* name, Number& value, Number least, Number most, const std::string& help) {
    shown(app, name, value, "N", help + " (" + std::to_string(least) + " to " + std::to_string(most) + ")")
        ->check(between(least, most));
}

} // namespace

void Command::flag(const char* name, bool& value, const char* help) { app_.add_flag(name, value, help); }

void Command::text(const char* name, std::string& value, const char* type, const char* help) {
    shown(app_, name, value, type, help);
}

void Command::textOrNothing(const char* name, std::string& value, const char* type, const char* help) {
    app_.add_option(name, value, help)->type_name(type);
}

void Command::texts(const char* name, std::vector<std::string>& values, const char* type, const char* help,
                    const Check& check) {
    app_.add_option(name, values, help)->type_name(type)->check(check);
}

void Command::file(const char* name, std::filesystem::path& value, const char* type, const char* help) {
    shown(app_, name, value, type, help);
}

void Command::number(const char* name, size_t& value, size_t least, size_t most, const char* help) {
    bounded(app_, name, value, least, most, help);
}

void Command::number(const char* name, int& value, int least, int most, const char* help) {
    bounded(app_, name, value, least, most, help);
}

void Command::oneOf(const char* name, unsigned& value, std::initializer_list<unsigned> values, const char* help) {
    shown(app_, name, value, "N", help)->check(oneOfThese(std::vector<unsigned>(values)));
}

void Command::oneOf(const char* name, std::string& value, const std::vector<std::string>& values, const char* help) {
    shown(app_, name, value, "NAME", help)->check(oneOfThese(values));
}

void Command::seconds(const char* name, std::chrono::milliseconds& value, const char* help) {
    app_.add_option_function<double>(
            name,
            [&value](double seconds) {
                value = std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
            },
            help)
        ->type_name("SECONDS")
        ->check(inWords(CLI::Range(0.01, 3600.0), "seconds from 0.01 to 3600"))
        ->default_str(std::to_string(value.count() / 1000));
}

void Command::argument(const char* name, std::string& value, const char* help) { needed(app_, name, value, help); }

void Command::argument(const char* name, std::vector<std::string>& values, const char* help) {
    needed(app_, name, values, help);
}

void Command::arguments(const char* name, std::vector<std::string>& values, const char* help) {
    app_.add_option(name, values, help)->type_name("");
}

void Command::argumentUnless(const char* option, const char* name, std::vector<std::string>& values, const char* help) {
    const CLI::Option* const argument = app_.add_option(name, values, help)->type_name("");
    app_.parse_complete_callback([&app = app_, argument, option, name] {
        if (argument->count() == 0 && app.get_option(option)->count() == 0)
            throw CLI::RequiredError(std::string(name) + " or " + option);
    });
}

void Command::argument(const char* name, uint32_t& value, const char* help) {
    needed(app_, name, value, help)->check(between(uint32_t{1}, std::numeric_limits<uint32_t>::max()));
}

} // namespace tarn::server
