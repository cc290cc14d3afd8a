// SPDX-License-Identifier: Apache-2.0
#include "cases/request_fields.h"

#include "support/answers.h"

#include <stdexcept>
#include <string_view>

namespace kvxtest {

namespace {

std::string quoted(const std::string& text) { return '"' + text + '"'; }

class PacketLines {
  public:
    PacketLines(std::string_view packet, const std::string& deviceId) : rest_(packet), deviceId_(deviceId) {}

    std::vector<std::string> lines() && {
        header();
        const uint32_t length = number(4);
        std::string_view after = rest_.substr(length);
        rest_ = rest_.substr(0, length);
        payload();
        if (!rest_.empty()) say("bytes left in the payload " + std::to_string(rest_.size()));
        rest_ = after;
        const uint32_t appendix = number(4);
        say("appendix " + std::to_string(appendix) + " bytes, signature " + std::to_string(rest_.size()) + " bytes");
        return std::move(lines_);
    }

  private:
    void header() {
        const std::string magic = take(4);
        const uint32_t major = number(1);
        say("packet " + quoted(magic) + " version " + std::to_string(major) + "." + std::to_string(number(1)));
        say("account " + std::to_string(number(4)));
        const std::string device = id();
        say("device " + (device == deviceId_.substr(0, 16) ? "<device>" : quoted(device)) + ", user " + quoted(id()));
        const uint32_t encryption = number(2);
        say("encryption " + std::to_string(encryption) + ", checksum " + std::to_string(number(2)));
        const std::string framing = take(1);
        const uint32_t language = number(2);
        const std::string languageText = {static_cast<char>(language >> 8), static_cast<char>(language & 0xff)};
        const uint32_t option = number(2);
        say("answer framing " + framing + ", language " + languageText + ", option " + std::to_string(option) +
            ", client " + take(1));
    }

    void payload() {
        const std::string type = take(1);
        say("request " + type + ", permissions " + permissions());
        if (type == "F") return fingerprint();
        if (type == "M") {
            const std::string kind = take(1);
            return say("kind " + kind + ", ids " + quoted(text()));
        }
    }

    // The bits of each group, as hexadecimal digits.
    std::string permissions() {
        std::string groups;
        for (uint32_t count = number(1); count > 0; --count) {
            if (!groups.empty()) groups += ' ';
            for (const char byte : take(number(1))) {
                const std::string digits = hexDump(bytesOf({&byte, 1}));
                groups += digits.substr(digits.size() - 2);
            }
        }
        return groups;
    }

    void fingerprint() {
        const uint32_t durationMs = number(4);
        const uint32_t first = number(4);
        say("duration " + std::to_string(durationMs) + " ms, numbers " + std::to_string(first) + " and " +
            std::to_string(number(4)));
        for (int i = 1; i <= 5; ++i) sayText("text " + std::to_string(i));
        for (int i = 1; i <= 6; ++i) {
            if (const uint32_t value = number(2); value != 0) {
                say("short " + std::to_string(i) + " " + std::to_string(value));
            }
        }
        for (const char* name : {"text 8", "text 6", "text 7", "text 9", "text 10"}) sayText(name);
        constexpr size_t kShown = 24;
        for (int i = 1; i <= 6; ++i) {
            const std::string letters = text();
            say("codes " + std::to_string(i) + ": " + std::to_string(letters.size()) + " letters, " +
                letters.substr(0, kShown) + "...");
        }
        say("pairs " + std::to_string(text().size()) + " bytes");
    }

    // A text that is not empty.
    void sayText(const std::string& name) {
        if (const std::string value = text(); !value.empty()) say(name + " " + quoted(value));
    }

    void say(const std::string& line) { lines_.push_back(line); }
    std::string take(size_t count) {
        if (rest_.size() < count) throw std::runtime_error("the request ends inside a field");
        std::string bytes(rest_.substr(0, count));
        rest_.remove_prefix(count);
        return bytes;
    }
    uint32_t number(size_t width) {
        const std::string bytes = take(width);
        uint32_t value = 0;
        for (size_t i = 0; i < width; ++i) value |= uint32_t{static_cast<uint8_t>(bytes[i])} << (8 * i);
        return value;
    }
    std::string text() { return take(number(4)); }
    std::string id() {
        const std::string bytes = take(16);
        return bytes.substr(0, bytes.find('\0'));
    }

    std::string_view rest_;
    const std::string& deviceId_;
    std::vector<std::string> lines_;
};

} // namespace

std::vector<std::string> requestFields(const Bytes& request, const std::string& deviceId, bool whole) {
    const std::string text = textOf(request);
    const size_t headEnd = text.find("\r\n\r\n");
    const size_t partEnd = text.find("\r\n\r\n", headEnd + 4);
    const size_t boundary = text.find("\r\n--", partEnd + 4);
    std::vector<std::string> lines = {text.substr(0, text.find("\r\n"))};
    if (boundary == std::string::npos) {
        lines.emplace_back("no form");
        return lines;
    }
    const size_t last = text.rfind("\r\n--");
    const std::string packet = text.substr(partEnd + 4, last - partEnd - 4);
    for (const std::string& line : PacketLines(packet, deviceId).lines()) {
        const bool saysWhat = line.starts_with("duration ") || line.starts_with("text ") || line.starts_with("kind ");
        if (whole) {
            lines.push_back("  " + line);
        } else if (saysWhat) {
            lines[0] += "; " + line;
        }
    }
    return lines;
}

} // namespace kvxtest
