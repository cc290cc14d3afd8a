// SPDX-License-Identifier: Apache-2.0
#include "http/metrics.h"

#include <algorithm>
#include <fmt/format.h>

namespace tarn::server {

namespace {

const std::vector<double> kSeconds = {0.0001, 0.00025, 0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025,
                                      0.05,   0.1,     0.25,   0.5,   1,      2.5,   5,    10};
const std::vector<double> kCandidateCounts = {0, 1, 2, 5, 10, 20, 50, 100, 200, 500, 1000};
// Every status that the service itself sends. A series that is there from zero on shows its first event to rate().
constexpr int kStatuses[] = {200, 304, 400, 401, 403, 404, 405, 413, 415, 422, 500, 503};
constexpr const char* kStageNames[] = {"verify", "wait", "recognise", "write", "total"};

double seconds(std::chrono::nanoseconds time) { return std::chrono::duration<double>(time).count(); }

void head(std::string& out, const char* name, const char* type, const char* help) {
    out += fmt::format("# HELP {} {}\n# TYPE {} {}\n", name, help, name, type);
}

template <class Value>
void single(std::string& out, const char* name, const char* type, const char* help, Value value) {
    head(out, name, type, help);
    out += fmt::format("{} {}\n", name, value);
}

} // namespace

Histogram::Histogram(std::vector<double> bounds) : bounds_(std::move(bounds)), counts_(bounds_.size() + 1) {}

void Histogram::add(double value) {
    const auto bucket = std::lower_bound(bounds_.begin(), bounds_.end(), value) - bounds_.begin();
    ++counts_[static_cast<size_t>(bucket)];
    sum_ += value;
}

void Histogram::write(std::string& out, const std::string& name, const std::string& labels) const {
    const std::string ahead = labels.empty() ? "" : labels + ",";
    const std::string braced = labels.empty() ? "" : "{" + labels + "}";
    uint64_t upTo = 0;
    for (size_t i = 0; i < counts_.size(); ++i) {
        upTo += counts_[i];
        const std::string bound = i < bounds_.size() ? fmt::format("{}", bounds_[i]) : "+Inf";
        out += fmt::format("{}_bucket{{{}le=\"{}\"}} {}\n", name, ahead, bound, upTo);
    }
    out += fmt::format("{}_sum{} {}\n{}_count{} {}\n", name, braced, sum_, name, braced, upTo);
}

Metrics::Metrics() : stages_(kStages, Histogram(kSeconds)), candidates_(kCandidateCounts) {
    for (const int status : kStatuses) responses_[status] = 0;
}

void Metrics::request(const RequestReport& report, std::chrono::nanoseconds waiting, std::chrono::nanoseconds total) {
    const std::lock_guard lock(mutex_);
    ++requests_[static_cast<size_t>(report.kind)][static_cast<size_t>(report.outcome)];
    stages_[kVerify].add(seconds(report.verifying));
    stages_[kTotal].add(seconds(total));
    if (report.outcome == RequestOutcome::kMatched || report.outcome == RequestOutcome::kNotFound) {
        stages_[kWait].add(seconds(waiting));
        if (report.kind != RequestKind::kIdentity) stages_[kRecognise].add(seconds(report.recognising));
        stages_[kWrite].add(seconds(report.writing));
    }
    if (report.candidates) candidates_.add(*report.candidates);
}

void Metrics::response(int status) {
    const std::lock_guard lock(mutex_);
    ++responses_[status];
}

void Metrics::dropped() {
    const std::lock_guard lock(mutex_);
    ++dropped_;
}

std::string Metrics::text(const Gauges& gauges) const {
    const std::lock_guard lock(mutex_);
    std::string out;
    head(out, "tarn_requests_total", "counter", "Recognition requests that were answered.");
    for (size_t kind = 0; kind < kRequestKinds; ++kind) {
        for (size_t outcome = 0; outcome < kRequestOutcomes; ++outcome) {
            const uint64_t count = requests_[kind][outcome];
            out += fmt::format("tarn_requests_total{{kind=\"{}\",outcome=\"{}\"}} {}\n",
                               kindName(static_cast<RequestKind>(kind)),
                               outcomeName(static_cast<RequestOutcome>(outcome)), count);
        }
    }
    head(out, "tarn_request_seconds", "histogram", "Time of a recognition request by stage.");
    for (size_t stage = 0; stage < kStages; ++stage) {
        stages_[stage].write(out, "tarn_request_seconds", fmt::format("stage=\"{}\"", kStageNames[stage]));
    }
    head(out, "tarn_candidates", "histogram", "Candidates judged for a fingerprint.");
    candidates_.write(out, "tarn_candidates", "");
    head(out, "tarn_http_responses_total", "counter", "Answers of any kind by status.");
    for (const auto& [status, count] : responses_) {
        out += fmt::format("tarn_http_responses_total{{code=\"{}\"}} {}\n", status, count);
    }
    single(out, "tarn_requests_dropped_total", "counter", "Requests whose client went before the answer.", dropped_);
    if (gauges.recordings) {
        single(out, "tarn_catalogue_recordings", "gauge", "Recordings in the catalogue.", *gauges.recordings);
    }
    single(out, "tarn_catalogue_up", "gauge", "1 when the catalogue can be asked.", gauges.recordings ? 1 : 0);
    single(out, "tarn_accounts", "gauge", "Accounts that may ask.", gauges.accounts);
    single(out, "tarn_connections", "gauge", "Open connections.", gauges.connections);
    single(out, "tarn_requests_waiting", "gauge", "Admitted requests that no worker has taken yet.", gauges.waiting);
    return out;
}

} // namespace tarn::server
