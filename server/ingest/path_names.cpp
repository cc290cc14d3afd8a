// SPDX-License-Identifier: Apache-2.0
#include "ingest/path_names.h"

#include "base/paths.h"
#include "base/text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

namespace fs = std::filesystem;

namespace tarn::server {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

size_t digitsAt(std::string_view text, size_t place) {
    size_t count = 0;
    while (place + count < text.size() && isDigit(text[place + count])) ++count;
    return count;
}

// "CD1", "Disc 2", "disk_03".
bool isOneDisc(std::string_view folder) {
    std::string name(folder);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const std::string_view word : std::array<std::string_view, 3>{"cd", "disc", "disk"}) {
        if (!name.starts_with(word)) continue;
        size_t place = word.size();
        if (place < name.size() && std::string_view(" _-").find(name[place]) != std::string_view::npos) ++place;
        const size_t digits = digitsAt(name, place);
        if (digits > 0 && digits <= 2 && place + digits == name.size()) return true;
    }
    return false;
}

// Bytes of what separates the number of a track from its title; 0: there is no such thing.
size_t separatorAt(std::string_view text, size_t place, bool surelyNumber) {
    size_t end = place;
    while (end < text.size() && text[end] == ' ') ++end;
    const bool mark = end < text.size() && std::string_view("-._)").find(text[end]) != std::string_view::npos;
    const size_t spacesBefore = end - place;
    if (mark) ++end;
    const size_t afterMark = end;
    while (end < text.size() && text[end] == ' ') ++end;
    const bool spaced = spacesBefore > 0 || end > afterMark;
    // "7 Seconds" and "7-11" are titles; "07 Seconds" and "7 - Seconds" have a number.
    return (mark && spaced) || (surelyNumber && (mark || spaced)) ? end - place : 0;
}

// Splits "01 - Title", "01. Title", "01 Title" and "1-03 Title", of which the first number is the disc's.
void splitName(const std::string& name, Tags& tags) {
    tags.title = name;
    size_t begin = 0;
    size_t digits = digitsAt(name, 0);
    if (digits == 0 || digits > 3) return;
    bool surelyNumber = digits == 2 && name[0] == '0';
    if (digits <= 2 && digits < name.size() && name[digits] == '-' && digitsAt(name, digits + 1) == 2) {
        begin = digits + 1;
        digits = 2;
        surelyNumber = true;
    }
    const size_t separator = separatorAt(name, begin + digits, surelyNumber);
    const std::string title = name.substr(begin + digits + separator);
    if (separator == 0 || title.empty()) return;
    std::from_chars(name.data() + begin, name.data() + begin + digits, tags.number);
    tags.title = title;
}

} // namespace

Tags namesFromPath(const fs::path& file, const fs::path& folder) {
    Tags tags;
    splitName(cleanText(file.stem().string()), tags);
    if (folder.empty() || !isAtOrBelow(file.native(), folder.native())) return tags;
    std::vector<std::string> folders;
    for (const fs::path& part : file.parent_path().lexically_relative(folder)) {
        if (part != "." && !part.empty()) folders.push_back(cleanText(part.string()));
    }
    if (folders.size() > 1 && isOneDisc(folders.back())) folders.pop_back();
    if (!folders.empty()) tags.album = folders.back();
    if (folders.size() > 1) tags.artist = folders[folders.size() - 2];
    return tags;
}

} // namespace tarn::server
