// SPDX-License-Identifier: Apache-2.0
// What the service answers at which path, to which methods.
#pragma once

#include "http/http_response.h"

#include <string>
#include <string_view>

namespace tarn::server {

// What the endpoints show of a running service.
class ServiceView {
  public:
    virtual ~ServiceView() = default;
    virtual bool isStopping() const = 0;
    virtual bool catalogueIsUp() const = 0;
    virtual std::string metricsText() const = 0;
};

struct Endpoint {
    std::string_view path;
    std::string_view methods; // as the header Allow lists them
    // Null: the endpoint takes a recognition request, whose answer comes from a worker.
    HttpResponse (*answer)(const ServiceView& service);

    bool takesRequests() const { return answer == nullptr; }
    bool allows(std::string_view method) const;
};

// The path in a request's target, with the query after it.
std::string_view pathOf(std::string_view target);
// The endpoint at the path in a request's target; null: there is none.
const Endpoint* endpointAt(std::string_view target);
// The methods that every file of the page takes.
const Endpoint& pageEndpoint();

HttpResponse notFound();
HttpResponse methodNotAllowed(const Endpoint& endpoint);

} // namespace tarn::server
