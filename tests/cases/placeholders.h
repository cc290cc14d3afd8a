// SPDX-License-Identifier: Apache-2.0
// Placeholders for what differs from run to run: <time>, <pid>, <port>, <folder>, <version>, <access code>, and
// <track 1>, <album 1>, <content 1> for what is made from decoded audio, numbered by their first appearance in the
// case.
#pragma once

#include <map>
#include <regex>
#include <string>
#include <utility>
#include <vector>

namespace kvxtest {

class Placeholders {
  public:
    explicit Placeholders(const std::string& folder);

    // From now on, what matches is shown as <name>.
    void hide(const std::string& name, const std::string& pattern);
    void hideText(const std::string& name, const std::string& text);
    std::string applied(std::string text);

  private:
    std::string numbered(const std::string& text, const std::regex& pattern, const std::string& name);

    std::vector<std::pair<std::string, std::string>> texts_;
    std::vector<std::pair<std::string, std::regex>> hidden_;
    std::map<std::string, std::map<std::string, size_t>> seen_; // by kind
};

} // namespace kvxtest
