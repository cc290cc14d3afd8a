// SPDX-License-Identifier: Apache-2.0
// Runs of the tool, as a program and in this process, whose outcome a fault of the network changes.
#pragma once

#include "e2e/tool.h"
#include "platform/linux/http_client.h"
#include "run.h"
#include "support/answers.h"
#include "support/clients.h"
#include "support/fault_proxy.h"

#include <chrono>

namespace kvxtest::faulty_exchange {

inline const std::string kLead = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<match>\n";
inline const std::string kNameAndTitle = "<name>The Paper Lanterns</name>\n<title>Low Tide</title>\n</match>\n";
inline const std::string kReportWithoutAlbum = kLead + kNameAndTitle;
inline const std::string kWholeReport = kLead + "<album>Walking on Thin Air</album>\n" + kNameAndTitle;

// How a run ended.
struct Outcome {
    int exitStatus = -1;
    std::string output;
    std::string lastLine; // of the log
    size_t connections = 0;

    bool operator==(const Outcome&) const = default;
};

inline std::string show(const Outcome& outcome) {
    const std::string report = outcome.output.empty()                  ? "nothing"
                               : outcome.output == kWholeReport        ? "the whole report"
                               : outcome.output == kReportWithoutAlbum ? "the report without an album"
                                                                       : "'" + outcome.output + "'";
    return std::to_string(outcome.exitStatus) + ", prints " + report + ", " + std::to_string(outcome.connections) +
           " connection(s), last line: " + (outcome.lastLine.empty() ? "none" : outcome.lastLine);
}

inline void PrintTo(const Outcome& outcome, std::ostream* out) { *out << show(outcome); }

// Which of a run's two exchanges meets the fault.
enum class Exchange { kFingerprint, kAlbum };

// The exchange failed, for this reason.
inline Outcome failed(Exchange exchange, const std::string& reason) {
    if (exchange == Exchange::kFingerprint) return {252, "", "Error sending fingerprint request " + reason, 1};
    return {0, kReportWithoutAlbum, "HTTP Error Looking Up Extra Meta Data " + reason, 2};
}

// How an answer shows its end.
enum class Framing { kLength, kChunks, kEndOfConnection };

inline std::string bodyOf(Exchange exchange) {
    return textOf(golden(exchange == Exchange::kFingerprint ? "answer_track.bin" : "answer_album.bin"));
}

inline std::string answerOf(Exchange exchange, Framing framing) {
    const std::string body = bodyOf(exchange);
    switch (framing) {
    case Framing::kLength:
        return httpAnswer(200, body);
    case Framing::kChunks:
        return std::string(kChunkedHead) + inChunks(body, 64);
    case Framing::kEndOfConnection:
        break;
    }
    return "HTTP/1.1 200 OK\r\n\r\n" + body;
}

// The shortest file that is taken.
inline std::string shortSound() { return soundFile({.rateHz = 11025, .lengthMs = 7000}); }

inline Outcome runOfTool(const std::string& host) {
    const Ended result = runTool({freshKey(), host, shortSound()});
    const auto log = logTexts(result.err);
    return {result.status, result.out, log.empty() ? "" : log.back()};
}

inline constexpr std::chrono::milliseconds kPatience(20'000); // far more than any step takes
inline Outcome runInProcess(const std::string& host, std::chrono::milliseconds idleLimit = kPatience) {
    ScriptedServices scripted;
    tarn::HttpClient http(idleLimit);
    tarn::Services services{scripted.log, scripted.output, scripted.clock, scripted.cipher, scripted.interfaces, http};
    const std::string key = goodKey(scripted.clock);
    const std::string sound = shortSound();
    const char* const arguments[] = {"tarn", key.c_str(), host.c_str(), sound.c_str()};
    Outcome outcome;
    outcome.exitStatus = tarn::runTarn(arguments, services) & 0xff;
    outcome.output = scripted.output.all();
    if (!scripted.log.entries.empty()) outcome.lastLine = scripted.log.entries.back();
    if (outcome.lastLine.ends_with('\n')) outcome.lastLine.pop_back();
    return outcome;
}

} // namespace kvxtest::faulty_exchange
