// SPDX-License-Identifier: Apache-2.0
#include "json/problem.h"

#include "base/json.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tarn::server {

namespace {

struct Title {
    int status;
    const char* text;
};
// As HTTP names them, since the type is "about:blank".
constexpr Title kTitles[] = {
    {400, "Bad Request"},           {401, "Unauthorized"},          {404, "Not Found"},
    {405, "Method Not Allowed"},    {413, "Content Too Large"},     {415, "Unsupported Media Type"},
    {422, "Unprocessable Content"}, {500, "Internal Server Error"}, {503, "Service Unavailable"},
};

} // namespace

std::string problemDocument(int status, const std::string& detail) {
    const auto* const title =
        std::find_if(std::begin(kTitles), std::end(kTitles), [&](const Title& each) { return each.status == status; });
    return lineOf({{"type", "about:blank"},
                   {"title", title == std::end(kTitles) ? "Error" : title->text},
                   {"status", status},
                   {"detail", detail}}) +
           "\n";
}

Reply problem(RequestReport report, RequestOutcome outcome, int status, const std::string& detail,
              const std::string& reason) {
    Reply reply;
    report.outcome = outcome;
    report.reason = reason.empty() ? detail : reason;
    reply.status = status;
    reply.body = problemDocument(status, detail);
    reply.type = kProblemType;
    if (status == 401) reply.headers.emplace_back("WWW-Authenticate", "Bearer realm=\"tarn-server\"");
    reply.report = std::move(report);
    return reply;
}

Reply problemOf(Reply failure) {
    const RequestOutcome outcome = failure.report.outcome;
    const int status = outcome == RequestOutcome::kRefused ? 401 : failure.status;
    std::string detail = failure.body;
    if (detail.ends_with('\n')) detail.pop_back();
    std::string reason = failure.report.reason;
    return problem(std::move(failure.report), outcome, status, detail, reason);
}

} // namespace tarn::server
