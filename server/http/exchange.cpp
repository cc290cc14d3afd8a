// SPDX-License-Identifier: Apache-2.0
#include "http/exchange.h"

#include <algorithm>
#include <microhttpd.h>
#include <string>
#include <thread>
#include <utility>
#include <variant>

namespace tarn::server {

namespace {

Reply overload(RequestReport report) {
    return RequestHandler::failure(std::move(report), RequestOutcome::kOverload,
                                   "too many requests wait; try again later");
}

size_t workersOf(const HttpLimits& limits) {
    return limits.workers > 0 ? limits.workers : std::max(1U, std::thread::hardware_concurrency());
}

} // namespace

Exchanges::Exchanges(const RequestHandler& handler, CatalogueWatch& catalogue, const HttpLimits& limits)
    : handler_(handler), catalogue_(catalogue), limits_(limits), queue_(workersOf(limits), limits.waiting) {}

bool Exchanges::finishBody(MHD_Connection* connection, Exchange& exchange) {
    auto admitted = admit(exchange);
    if (auto* reply = std::get_if<Reply>(&admitted)) {
        exchange.answer(std::move(*reply));
        return true;
    }
    exchange.request = std::get<AdmittedRequest>(std::move(admitted));
    exchange.admittedAt = Exchange::Clock::now();
    exchange.stage = Exchange::Stage::kQueued;
    const uint32_t account = exchange.request.report.accountId.value();
    MHD_suspend_connection(connection);
    if (!queue_.tryPush(account,
                        [this, connection, &exchange](WorkQueue::Fate fate) { work(connection, exchange, fate); })) {
        exchange.answer(overload(std::move(exchange.request.report)));
        MHD_resume_connection(connection);
    }
    return false;
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
    exchange.answer(mayRun ? handler_.answer(std::move(exchange.request))
                           : overload(std::move(exchange.request.report)));
    const RequestReport& report = exchange.reply.report;
    if (report.outcome == RequestOutcome::kUnavailable) catalogue_.noteFailure(report.reason);
    MHD_resume_connection(connection);
}

void Exchanges::stop() {
    outOfTime_ = true;
    queue_.close();
}

} // namespace tarn::server
