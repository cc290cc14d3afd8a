// SPDX-License-Identifier: Apache-2.0
#include "e2e/tool.h"

#include "TarnInterface.h"
#include "platform/linux/system_services.h"
#include "support/access_keys.h"
#include "support/handles.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>
#include <map>
#include <tuple>

namespace kvxtest {
namespace {

TemporaryDirectory& scratch() {
    static TemporaryDirectory directory;
    return directory;
}

// Without an identity no recognition succeeds, and every test would fail for a reason that it does not show.
class NeedsAnIdentity : public ::testing::Environment {
  public:
    void SetUp() override {
        if (!deviceId()) {
            FAIL() << "No network interface of this machine has a hardware address that identifies it: the tool "
                      "cannot recognise anything here. Run these tests where there is an Ethernet or Wi-Fi interface.";
        }
    }
};
[[maybe_unused]] const auto* const environment = ::testing::AddGlobalTestEnvironment(new NeedsAnIdentity);

} // namespace

std::vector<std::string> toolWords(const std::vector<std::string>& arguments, const std::string& program) {
    std::vector<std::string> words = {program.empty() ? TARN_TOOL : program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

Ended runTool(const std::vector<std::string>& arguments, const std::string& program) {
    return runProgram(toolWords(arguments, program));
}

namespace {

// Matches the beginning of text against a pattern in which '0' stands for one digit and '+' for digits as many as there
// are; returns the length of what matched, 0 for none.
size_t matchedLength(const std::string& text, std::string_view pattern) {
    const auto isDigit = [&](size_t at) { return at < text.size() && text[at] >= '0' && text[at] <= '9'; };
    size_t at = 0;
    for (const char expected : pattern) {
        if (expected == '+') {
            if (!isDigit(at)) return 0;
            while (isDigit(at)) ++at;
        } else if (expected == '0' ? isDigit(at) : at < text.size() && text[at] == expected) {
            ++at;
        } else {
            return 0;
        }
    }
    return at;
}

size_t logPrefixLength(const std::string& line) { return matchedLength(line, "0000-00-00 00:00:00.000 tarn[+:+] "); }

} // namespace

std::vector<std::string> logTexts(const std::string& errors) {
    std::vector<std::string> texts;
    for (size_t at = 0; at < errors.size();) {
        const size_t end = errors.find('\n', at);
        EXPECT_NE(end, std::string::npos) << "the last line has no end: " << errors.substr(at);
        const std::string line = errors.substr(at, end == std::string::npos ? end : end - at);
        if (const size_t prefix = logPrefixLength(line); prefix != 0) {
            texts.push_back(line.substr(prefix));
        } else if (texts.empty()) {
            ADD_FAILURE() << "not a log line: " << line;
        } else {
            texts.back() += "\n" + line;
        }
        at = end == std::string::npos ? errors.size() : end + 1;
    }
    return texts;
}

std::string freshKey(int encryptionMethod, int checksumMethod, int64_t secondsOld) {
    return accessKeyFor(accessCode(encryptionMethod, checksumMethod), secondsOld);
}

std::string scratchFile(const std::string& name) { return scratch().file(name); }

std::string soundFile(const WavOptions& options) {
    static std::map<std::tuple<int, int, int, int>, std::string> made;
    std::string& path = made[{options.channels, options.rateHz, options.lengthMs, options.startMs}];
    if (path.empty()) {
        path = scratchFile("sound" + std::to_string(made.size()) + ".wav");
        writeFile(path, wavFile(options));
    }
    return path;
}

std::optional<std::string> deviceId() {
    tarn::SystemServices system;
    tarn::ErrorSlot refused; // no key is needed to be told apart
    const tarn::TarnInterface client(system.services(), "", "", "h", 0, false, refused);
    return client.deviceId();
}

Script answering(const std::string& answer) { return {receiveRequest(), send(answer)}; }

Recognition recognise(std::vector<Script> scripts, const std::string& path) {
    LoopbackServer server(std::move(scripts));
    Recognition recognition;
    recognition.host = server.host();
    recognition.result = runTool({freshKey(), server.host(), path});
    recognition.log = logTexts(recognition.result.err);
    recognition.requests = server.requests();
    return recognition;
}

} // namespace kvxtest
