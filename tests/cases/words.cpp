// SPDX-License-Identifier: Apache-2.0
#include "cases/words.h"

#include "support/hex.h"

#include <utility>

namespace kvxtest {

namespace {

// Takes what follows a backslash.
char takeEscape(std::string_view& rest) {
    if (rest.empty()) throw CaseError("a backslash ends the line");
    const char kind = rest.front();
    rest.remove_prefix(1);
    switch (kind) {
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    case '"':
    case '\\':
        return kind;
    case 'x':
        if (rest.size() >= 2) {
            const Bytes byte = fromHex(rest.substr(0, 2));
            rest.remove_prefix(2);
            return static_cast<char>(byte.at(0));
        }
        [[fallthrough]];
    default:
        throw CaseError(std::string("there is no escape \\") + kind);
    }
}

} // namespace

Words wordsOf(std::string_view line) {
    Words words;
    bool inWord = false;
    bool inQuotes = false;
    while (!line.empty()) {
        const char c = line.front();
        line.remove_prefix(1);
        if (c == ' ' && !inQuotes) {
            inWord = false;
            continue;
        }
        if (!inWord) words.emplace_back();
        inWord = true;
        if (c == '"') {
            inQuotes = !inQuotes;
        } else {
            words.back() += c == '\\' && inQuotes ? takeEscape(line) : c;
        }
    }
    if (inQuotes) throw CaseError("a quotation has no end");
    return words;
}

Settings::Settings(const Words& words, size_t from) {
    for (size_t i = from; i < words.size(); ++i) {
        const size_t equals = words[i].find('=');
        const std::string value = equals == std::string::npos ? "" : words[i].substr(equals + 1);
        values_[words[i].substr(0, equals)].push_back(value);
    }
}

Words Settings::all(const std::string& name) {
    const auto found = values_.extract(name);
    return found.empty() ? Words() : found.mapped();
}

std::string Settings::text(const std::string& name, const std::string& usual) {
    const Words values = all(name);
    return values.empty() ? usual : values.front();
}

long Settings::number(const std::string& name, long usual) {
    const std::string value = text(name);
    return value.empty() ? usual : std::stol(value);
}

void Settings::expectNoOther() const {
    if (!values_.empty()) throw CaseError("there is no setting \"" + values_.begin()->first + "\" here");
}

} // namespace kvxtest
