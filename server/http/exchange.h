// SPDX-License-Identifier: Apache-2.0
// One request and its answer, and the way of a recognition request between the connection and a worker.
#pragma once

#include "http/bounded_body.h"
#include "http/catalogue_watch.h"
#include "http/form_body.h"
#include "http/http_limits.h"
#include "http/work_queue.h"
#include "protocol/request_handler.h"
#include "json/json_handler.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>

struct MHD_Connection;

namespace tarn::server {

// Made when a request's header has arrived, ended when its answer has left or its connection has.
struct Exchange {
    using Clock = std::chrono::steady_clock;

    enum class Stage {
        kReading,  // the body arrives
        kQueued,   // a worker has it; nothing else may touch it
        kAnswered, // the reply is ready
        kReplied,  // the reply is on its way
    };

    Stage stage = Stage::kReading;
    Clock::time_point start = Clock::now();
    std::string client;                // its address, for the log; of a recognition request
    std::unique_ptr<FormBody> form;    // of a packet
    std::unique_ptr<BoundedBody> body; // of a JSON request whose header is good
    uint64_t bodyBytes = 0;
    bool isJson = false;
    std::variant<AdmittedRequest, JsonRequest> request; // of a JSON request from its header on, else while it is queued
    Clock::time_point admittedAt;
    std::chrono::nanoseconds waiting{0};
    Reply reply; // from kAnswered on

    bool isRequest() const { return form != nullptr || isJson; } // that a worker may answer
    void answer(Reply made) {
        reply = std::move(made);
        stage = Stage::kAnswered;
    }
};

// What happens to recognition requests once they are here.
class Exchanges {
  public:
    // Throws std::system_error where the workers cannot be started.
    Exchanges(const RequestHandler& handler, Recogniser& recogniser, CatalogueWatch& catalogue,
              const HttpLimits& limits);

    // The header of a JSON request has arrived. Where it is not good, the exchange has its reply from then on, which
    // the client gets when it has sent the body.
    void openJson(Exchange& exchange, const JsonHeader& header);
    // The whole body of a recognition request has arrived. Everything that needs no catalogue is done here, on the
    // thread of input and output: a flood of packets without a good signature never takes a place in the queue. True:
    // the reply is there. False: the connection is suspended until it is, and the exchange must not be touched.
    bool finishBody(MHD_Connection* connection, Exchange& exchange);
    size_t waiting() const { return queue_.waiting(); }
    // Answers what still waits, without asking the catalogue, and ends the workers.
    void stop();

  private:
    std::variant<AdmittedRequest, Reply> admit(Exchange& exchange) const;
    std::optional<Reply> takeJson(Exchange& exchange) const;
    // The same failure, as a packet's client and as a JSON request's has it.
    static Reply overload(Exchange& exchange);
    void work(MHD_Connection* connection, Exchange& exchange, WorkQueue::Fate fate);

    const RequestHandler& handler_;
    const JsonHandler json_;
    BodyBudget budget_;
    CatalogueWatch& catalogue_; // learns of requests that it could not answer
    const HttpLimits limits_;
    std::atomic<bool> outOfTime_ = false;
    WorkQueue queue_; // last: its threads use what is above
};

} // namespace tarn::server
