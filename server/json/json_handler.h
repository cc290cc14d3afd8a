// SPDX-License-Identifier: Apache-2.0
// The JSON interface, from a request's header and body to its reply. Three steps: open() looks at the header before any
// of the body is kept; take() at the body; answer() asks the catalogue. The first two are quick.
#pragma once

#include "protocol/request_handler.h"
#include "json/json_request.h"

#include <chrono>
#include <string_view>
#include <variant>

namespace tarn::server {

class JsonHandler {
  public:
    // searchTime: after which a search goes no further; its answer says where to go on.
    JsonHandler(const RequestHandler& packets, Recogniser& recogniser,
                std::chrono::milliseconds searchTime = std::chrono::milliseconds(250))
        : packets_(packets), recogniser_(recogniser), searchTime_(searchTime) {}

    // Whether the request may be made, and all it says but its body. Of a packet, the account is not known yet.
    std::variant<JsonRequest, Reply> open(const JsonHeader& header) const;
    // Nothing: the body is good, and the request may be answered while the body's bytes stay where they are.
    std::optional<Reply> take(JsonRequest& request, std::string_view body) const;
    Reply answer(JsonRequest request) const;

  private:
    void readHeader(const JsonHeader& header, JsonRequest& request) const;
    std::string recognised(const JsonRequest& request, RequestReport& report) const;
    std::string track(const JsonRequest& request, RequestReport& report) const;
    std::string album(const JsonRequest& request, RequestReport& report) const;
    std::string recordings(const JsonRequest& request, RequestReport& report) const;

    const RequestHandler& packets_;
    Recogniser& recogniser_;
    const std::chrono::milliseconds searchTime_;
};

} // namespace tarn::server
