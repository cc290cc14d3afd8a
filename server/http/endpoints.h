// SPDX-License-Identifier: Apache-2.0
// What the service answers at which path, to which methods.
#pragma once

#include "http/http_response.h"

#include <string>
#include <string_view>
#include <variant>

namespace tarn::server {

// What the endpoints show of a running service.
class ServiceView {
  public:
    virtual ~ServiceView() = default;
    virtual bool isStopping() const = 0;
    virtual bool catalogueIsUp() const = 0;
    virtual std::string metricsText() const = 0;
};

// How the request at an endpoint is answered: at once, from what the service knows of itself; or from a worker, as the
// packet in its form asks.
using AtOnce = HttpResponse (*)(const ServiceView& service);
struct ByPacket {};

struct Endpoint {
    std::string_view path;
    std::string_view methods; // as the header Allow lists them
    std::variant<AtOnce, ByPacket> way;

    bool takesRequests() const { return !std::holds_alternative<AtOnce>(way); }
    // Of an endpoint that takes no requests.
    HttpResponse answer(const ServiceView& service) const { return std::get<AtOnce>(way)(service); }
    bool allows(std::string_view method) const;
};

// The endpoint at the path in a request's target; null: there is none.
const Endpoint* endpointAt(std::string_view target);

HttpResponse notFound();
HttpResponse methodNotAllowed(const Endpoint& endpoint);

} // namespace tarn::server
