// SPDX-License-Identifier: Apache-2.0
// The words of a line of a case. Words in double quotes may hold spaces and the escapes \n, \r, \t, \", \\ and \xHH.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kvxtest {

// What is wrong with a case itself; the runner adds its line.
struct CaseError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using Words = std::vector<std::string>;

Words wordsOf(std::string_view line);

// The settings NAME=VALUE among the words; what is left are names alone. Each is taken once, and none may be left over.
class Settings {
  public:
    explicit Settings(const Words& words, size_t from = 0);
    bool has(const std::string& name) const { return values_.count(name) > 0; }
    // All of one name, in order.
    Words all(const std::string& name);
    std::string text(const std::string& name, const std::string& usual = {});
    long number(const std::string& name, long usual);
    void expectNoOther() const;

  private:
    std::map<std::string, Words> values_;
};

} // namespace kvxtest
