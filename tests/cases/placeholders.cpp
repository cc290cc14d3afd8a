// SPDX-License-Identifier: Apache-2.0
#include "cases/placeholders.h"

#include "kvx.h"

namespace kvxtest {

Placeholders::Placeholders(const std::string& folder) {
    hideText("folder", folder);
    texts_.emplace_back("tarn-server <version>", "tarn-server " KVX_VERSION);
}

void Placeholders::hide(const std::string& name, const std::string& pattern) {
    hidden_.emplace_back("<" + name + ">", std::regex(pattern));
}

void Placeholders::hideText(const std::string& name, const std::string& text) {
    texts_.emplace_back("<" + name + ">", text);
}

std::string Placeholders::numbered(const std::string& text, const std::regex& pattern, const std::string& name) {
    std::string result;
    std::map<std::string, size_t>& seen = seen_[name];
    auto from = text.cbegin();
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
        const size_t number = seen.try_emplace(match->str(), seen.size() + 1).first->second;
        result.append(from, (*match)[0].first).append("<" + name + " " + std::to_string(number) + ">");
        from = (*match)[0].second;
    }
    return result.append(from, text.cend());
}

std::string Placeholders::applied(std::string text) {
    for (const auto& [name, hidden] : texts_) {
        for (size_t at = 0; (at = text.find(hidden, at)) != std::string::npos;) text.replace(at, hidden.size(), name);
    }
    for (const auto& [name, pattern] : hidden_) text = std::regex_replace(text, pattern, name);
    static const std::pair<std::regex, const char*> kKinds[] = {
        {std::regex(R"(\d{4}-\d\d-\d\d[ T]\d\d:\d\d:\d\d(\.\d+)?Z?)"), "<time>"},
        {std::regex(R"(tarn\[\d+:\d+\])"), "tarn[<pid>]"},
        {std::regex(R"(127\.0\.0\.1:\d+)"), "127.0.0.1:<port>"},
        {std::regex(R"(of audio in \d+:\d\d)"), "of audio in <time>"},
        {std::regex(R"(\b[0-9A-Fa-f]{80}\b)"), "<access code>"},
    };
    for (const auto& [pattern, placeholder] : kKinds) text = std::regex_replace(text, pattern, placeholder);
    static const std::regex kTrack(R"(\bT-[0-9a-f]{16}\b)");
    static const std::regex kAlbum(R"(\bA-[0-9a-f]{16}\b)");
    static const std::regex kContent(R"(\b[0-9a-f]{40}\b)");
    text = numbered(text, kTrack, "track");
    text = numbered(text, kAlbum, "album");
    return numbered(text, kContent, "content");
}

} // namespace kvxtest
