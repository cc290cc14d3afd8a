// SPDX-License-Identifier: Apache-2.0
#include "cases/scripted_answer.h"

#include "support/answers.h"

namespace kvxtest {

namespace {

Text textOfSetting(Settings& settings, const std::string& name) {
    if (!settings.has(name)) return std::nullopt;
    return settings.text(name);
}

Bytes albumOf(Settings& settings) {
    const Text id = textOfSetting(settings, "id");
    const Text title = textOfSetting(settings, "title");
    const Text artist = textOfSetting(settings, "by");
    return albumBlob(id, title, artist, static_cast<uint16_t>(settings.number("confidence", 0)));
}

Bytes blobOf(char type, Settings& settings, bool hasSettings) {
    if (settings.has("hex")) return fromHex(settings.text("hex"));
    if (settings.has("fields")) return assemble(Fields(static_cast<size_t>(settings.number("fields", 0))));
    const auto title = [&] { return textOfSetting(settings, "title"); };
    switch (type) {
    case 'T': {
        const Text id = textOfSetting(settings, "id");
        std::vector<Text> artists;
        for (const std::string& artist : settings.all("by")) artists.emplace_back(artist);
        return trackBlob(id, title(), artists);
    }
    case 'A':
        return albumOf(settings);
    case 'D': {
        const Text id = textOfSetting(settings, "id");
        return dvdBlob(id, title());
    }
    case 'K':
        return trackToAlbumBlob(hasSettings ? albumOf(settings) : Bytes());
    case 'N':
        return {0};
    default:
        throw CaseError(std::string("a record of type ") + type + " needs its bytes: hex=...");
    }
}

Bytes bodyOf(const std::vector<Words>& records) {
    Bytes body;
    for (const Words& words : records) {
        if (words.at(0) == "cut") {
            body.pop_back();
            continue;
        }
        if (words[0].size() != 1) throw CaseError("\"" + words[0] + "\" is no type of a record");
        Settings settings(words, 1);
        const Bytes bytes = record(words[0][0], blobOf(words[0][0], settings, words.size() > 1));
        settings.expectNoOther();
        body.insert(body.end(), bytes.begin(), bytes.end());
    }
    return body;
}

} // namespace

Script scriptOf(const Words& head, const std::vector<Words>& records) {
    if (head.empty()) throw CaseError("an answer has a status, or one of the words file, raw and reset");
    if (head[0] == "reset") return {receiveRequest(), reset()};
    if (head[0] == "raw") return {receiveRequest(), send(head.at(1))};
    if (head[0] == "file") return {receiveRequest(), send(httpAnswer(200, golden(head.at(1))))};
    const int status = std::stoi(head[0]);
    return {receiveRequest(),
            send(head.size() > 1 ? httpAnswer(status, head[1]) : httpAnswer(status, bodyOf(records)))};
}

} // namespace kvxtest
