// SPDX-License-Identifier: Apache-2.0
#include "http/exchange.h"

#include "json/problem.h"

#include <algorithm>
#include <microhttpd.h>
#include <string>
#include <thread>
#include <utility>
#include <variant>

namespace tarn::server {

namespace {

constexpr const char* kTooMany = "too many requests wait; try again later";

RequestReport& reportOf(Exchange& exchange) {
    if (auto* json = std::get_if<JsonRequest>(&exchange.request)) return json->report;
    return std::get<AdmittedRequest>(exchange.request).report;
}

size_t workersOf(const HttpLimits& limits) {
    return limits.workers > 0 ? limits.workers : std::max(1U, std::thread::hardware_concurrency());
}

} // namespace

Exchanges::Exchanges(const RequestHandler& handler, Recogniser& recogniser, CatalogueWatch& catalogue,
                     const HttpLimits& limits)
    : handler_(handler), json_(handler, recogniser), budget_(limits.audioBytesAtOnce), catalogue_(catalogue),
      limits_(limits), queue_(workersOf(limits), limits.waiting) {}

Reply Exchanges::overload(Exchange& exchange) {
    RequestReport& report = reportOf(exchange);
    if (exchange.isJson) return problem(std::move(report), RequestOutcome::kOverload, 503, kTooMany);
    return RequestHandler::failure(std::move(report), RequestOutcome::kOverload, kTooMany);
}

void Exchanges::openJson(Exchange& exchange, const JsonHeader& header) {
    exchange.isJson = true;
    auto opened = json_.open(header);
    if (auto* reply = std::get_if<Reply>(&opened)) return exchange.answer(std::move(*reply));
    const auto& request = exchange.request.emplace<JsonRequest>(std::get<JsonRequest>(std::move(opened)));
    // The account of a packet is known when its signature is, but a packet is small.
    const bool isPacket = request.body == JsonRequest::Body::kPacket;
    exchange.body = std::make_unique<BoundedBody>(isPacket ? limits_.packetBytes : limits_.audioBytes, budget_,
                                                  isPacket ? std::nullopt : request.report.accountId);
}

bool Exchanges::finishBody(MHD_Connection* connection, Exchange& exchange) {
    if (exchange.isJson) {
        if (auto reply = takeJson(exchange)) exchange.answer(std::move(*reply));
    } else {
        auto admitted = admit(exchange);
        if (auto* reply = std::get_if<Reply>(&admitted)) {
            exchange.answer(std::move(*reply));
        } else {
            exchange.request = std::get<AdmittedRequest>(std::move(admitted));
        }
    }
    if (exchange.stage == Exchange::Stage::kAnswered) return true;
    exchange.admittedAt = Exchange::Clock::now();
    exchange.stage = Exchange::Stage::kQueued;
    const uint32_t account = reportOf(exchange).accountId.value();
    MHD_suspend_connection(connection);
    if (!queue_.tryPush(account,
                        [this, connection, &exchange](WorkQueue::Fate fate) { work(connection, exchange, fate); })) {
        exchange.answer(overload(exchange));
        MHD_resume_connection(connection);
    }
    return false;
}

std::optional<Reply> Exchanges::takeJson(Exchange& exchange) const {
    auto& request = std::get<JsonRequest>(exchange.request);
    switch (exchange.body->state()) {
    case BoundedBody::State::kTooLarge:
        return problem(
            std::move(request.report), RequestOutcome::kTooLarge, 413,
            "the body is larger than " +
                std::to_string(request.body == JsonRequest::Body::kPacket ? limits_.packetBytes : limits_.audioBytes) +
                " bytes");
    case BoundedBody::State::kNoRoom:
        return problem(std::move(request.report), RequestOutcome::kOverload, 503,
                       "too much audio waits; try again later");
    case BoundedBody::State::kGood:
        break;
    }
    return json_.take(request, exchange.body->bytes());
}

std::variant<AdmittedRequest, Reply> Exchanges::admit(Exchange& exchange) const {
    switch (exchange.form->finish()) {
    case FormBody::State::kNoForm:
        return RequestHandler::failure({}, RequestOutcome::kBadPacket,
                                       "bad packet: the body is not one whole multipart form with one packet");
    case FormBody::State::kNoPacket:
        return RequestHandler::failure({}, RequestOutcome::kBadPacket, "bad packet: the form has no part named data");
    case FormBody::State::kTooLarge:
        return RequestHandler::failure({}, RequestOutcome::kTooLarge,
                                       "the packet is larger than " + std::to_string(limits_.packetBytes) + " bytes");
    case FormBody::State::kComplete:
        break;
    }
    const std::string packet = std::move(exchange.form->packet());
    return handler_.admit({reinterpret_cast<const uint8_t*>(packet.data()), packet.size()});
}

// On a worker, or wherever the job gave way. The connection is suspended, so the exchange is ours until it is resumed,
// which is the last thing done.
void Exchanges::work(MHD_Connection* connection, Exchange& exchange, WorkQueue::Fate fate) {
    exchange.waiting = Exchange::Clock::now() - exchange.admittedAt;
    const bool mayRun = fate == WorkQueue::Fate::kRun && exchange.waiting <= limits_.waitingTime && !outOfTime_;
    if (!mayRun) {
        exchange.answer(overload(exchange));
    } else if (auto* json = std::get_if<JsonRequest>(&exchange.request)) {
        exchange.answer(json_.answer(std::move(*json)));
        exchange.body->drop();
    } else {
        exchange.answer(handler_.answer(std::get<AdmittedRequest>(std::move(exchange.request))));
    }
    const RequestReport& report = exchange.reply.report;
    if (report.outcome == RequestOutcome::kUnavailable) catalogue_.noteFailure(report.reason);
    MHD_resume_connection(connection);
}

void Exchanges::stop() {
    outOfTime_ = true;
    queue_.close();
}

} // namespace tarn::server
