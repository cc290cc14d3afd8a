// SPDX-License-Identifier: Apache-2.0
#include "http/access_log.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <string_view>

namespace tarn::server {

namespace {

constexpr const char* kNothing = "-"; // in place of what is not known

// The fields of a line, NAME=VALUE, with blanks between them.
class Line {
  public:
    template <class Value>
    Line& add(std::string_view name, const Value& value) {
        fmt::format_to(std::back_inserter(text_), " {}={}", name, value);
        return *this;
    }
    Line& addText(std::string_view name, const std::string& value) {
        return value.empty() ? add(name, kNothing) : add(name, value);
    }
    Line& addMs(std::string_view name, std::chrono::nanoseconds time) {
        const double milliseconds = std::chrono::duration<double, std::milli>(time).count();
        return add(name, fmt::format("{:.3f}", milliseconds));
    }
    // What other libraries say of their failures, too: it must not end the quotes, or the line.
    Line& addQuoted(std::string_view name, std::string value) {
        std::replace_if(
            value.begin(), value.end(), [](char c) { return c == '"' || static_cast<unsigned char>(c) < ' '; }, '\'');
        return add(name, '"' + value + '"');
    }
    void writeTo(spdlog::logger& log) const { log.info("request{}", text_); }

  private:
    std::string text_;
};

void addBest(Line& line, const std::optional<RequestReport::Best>& best) {
    if (best) {
        line.add("confidence", best->confidence).add("recording", best->recordingId).add("placeMs", best->offsetMs);
    } else {
        line.add("confidence", kNothing).add("recording", kNothing).add("placeMs", kNothing);
    }
}

} // namespace

void logAnswered(spdlog::logger& log, const Exchange& exchange, std::chrono::nanoseconds total) {
    const RequestReport& report = exchange.reply.report;
    Line line;
    line.add("peer", exchange.client).add("kind", kindName(report.kind)).add("status", exchange.reply.status);
    line.add("outcome", outcomeName(report.outcome));
    line.addText("account", report.accountId ? std::to_string(*report.accountId) : "");
    line.addText("language", report.language).addText("client", report.clientKind);
    line.add("option", report.requestOption).add("packetBytes", report.packetBytes).add("answers", report.answers);
    addBest(line, report.best);
    line.addMs("verifyMs", report.verifying).addMs("waitMs", exchange.waiting);
    line.addMs("recogniseMs", report.recognising).addMs("totalMs", total);
    line.addQuoted("reason", report.reason);
    line.writeTo(log);
}

void logDropped(spdlog::logger& log, const Exchange& exchange, std::chrono::nanoseconds total) {
    Line line;
    line.add("peer", exchange.client).add("outcome", "dropped").add("bodyBytes", exchange.bodyBytes);
    line.addMs("totalMs", total);
    line.writeTo(log);
}

} // namespace tarn::server
