// SPDX-License-Identifier: Apache-2.0
// What the service answers at which path, to which methods.
#pragma once

#include "http/http_response.h"
#include "json/json_request.h"

#include <span>
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
// packet in its form asks, or by an operation of the JSON interface; or not at all, because nothing is there.
using AtOnce = HttpResponse (*)(const ServiceView& service);
struct ByPacket {};
struct Nothing {};

struct Endpoint {
    std::string_view path;    // "/*" at the end: one more segment, which is an id; "/**": whatever comes there
    std::string_view methods; // as the header Allow lists them
    std::variant<AtOnce, ByPacket, JsonOperation, Nothing> way;

    bool takesRequests() const {
        return std::holds_alternative<ByPacket>(way) || std::holds_alternative<JsonOperation>(way);
    }
    bool isOfJson() const { return path.starts_with("/v1/"); }
    // Of an endpoint that takes no requests.
    HttpResponse answer(const ServiceView& service) const { return std::get<AtOnce>(way)(service); }
    bool allows(std::string_view method) const;
};

std::span<const Endpoint> endpoints();
// The path in a request's target, with the query after it.
std::string_view pathOf(std::string_view target);
// The endpoint at the path in a request's target, whose escapes are not resolved yet; null: there is none.
const Endpoint* endpointAt(std::string_view target);
// The methods that every file of the page takes.
const Endpoint& pageEndpoint();
// The id in a target of an endpoint that takes one.
std::string idIn(std::string_view target);

HttpResponse notFound();
// Nothing is at a path of the JSON interface.
HttpResponse notFoundInJson();
HttpResponse methodNotAllowed(const Endpoint& endpoint);

} // namespace tarn::server
