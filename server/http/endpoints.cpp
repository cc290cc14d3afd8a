// SPDX-License-Identifier: Apache-2.0
#include "http/endpoints.h"

#include <algorithm>
#include <iterator>

namespace tarn::server {

namespace {

HttpResponse health(const ServiceView& service) {
    if (service.isStopping()) return tryAgainLater("stopping\n");
    if (!service.catalogueIsUp()) return tryAgainLater("the catalogue is not available\n");
    return {200, "ok\n"};
}

HttpResponse metrics(const ServiceView& service) { return {200, service.metricsText(), "text/plain; version=0.0.4"}; }

constexpr Endpoint kEndpoints[] = {
    {"/sdkrequest", "POST", nullptr},
    {"/health", "GET, HEAD", health},
    {"/metrics", "GET, HEAD", metrics},
};

constexpr std::string_view kSeparator = ", ";

} // namespace

// A client that frames HTTP itself sends the absolute form, http://HOST/PATH.
std::string_view pathOf(std::string_view target) {
    constexpr std::string_view kScheme = "http://";
    if (!target.starts_with(kScheme)) return target;
    const size_t slash = target.find('/', kScheme.size());
    return slash == std::string_view::npos ? "/" : target.substr(slash);
}

bool Endpoint::allows(std::string_view method) const {
    for (std::string_view rest = methods;;) {
        const size_t end = rest.find(kSeparator);
        if (rest.substr(0, end) == method) return true;
        if (end == std::string_view::npos) return false;
        rest.remove_prefix(end + kSeparator.size());
    }
}

const Endpoint* endpointAt(std::string_view target) {
    const auto* const found = std::find_if(std::begin(kEndpoints), std::end(kEndpoints),
                                           [&](const Endpoint& each) { return each.path == pathOf(target); });
    return found == std::end(kEndpoints) ? nullptr : found;
}

const Endpoint& pageEndpoint() {
    static constexpr Endpoint kPage = {"/", "GET, HEAD", nullptr};
    return kPage;
}

HttpResponse notFound() { return {404, "not found\n"}; }

HttpResponse methodNotAllowed(const Endpoint& endpoint) {
    std::string names(endpoint.methods);
    if (const size_t comma = names.find(kSeparator); comma != std::string::npos) {
        names.replace(comma, kSeparator.size(), " or ");
    }
    return {405, "405: use " + names + "\n", "text/plain", {{"Allow", std::string(endpoint.methods)}}};
}

} // namespace tarn::server
