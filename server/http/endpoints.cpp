// SPDX-License-Identifier: Apache-2.0
#include "http/endpoints.h"

#include "base/json.h"
#include "base/percent_encoding.h"
#include "http/openapi.h"
#include "kvx.h"
#include "json/problem.h"

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

HttpResponse version(const ServiceView&) {
    return {200, lineOf({{"name", "tarn-server"}, {"version", KVX_VERSION}}) + "\n", kJsonType};
}

HttpResponse openapi(const ServiceView&) { return {200, std::string(kOpenapi), kJsonType}; }

constexpr Endpoint kEndpoints[] = {
    {"/sdkrequest", "POST", ByPacket{}},
    {"/health", "GET, HEAD", health},
    {"/metrics", "GET, HEAD", metrics},
    {"/v1/recognise", "POST", JsonOperation::kRecognise},
    {"/v1/tracks/*", "GET, HEAD", JsonOperation::kTrack},
    {"/v1/albums/*", "GET, HEAD", JsonOperation::kAlbum},
    {"/v1/recordings", "GET, HEAD", JsonOperation::kRecordings},
    {"/v1/version", "GET, HEAD", version},
    {"/v1/openapi.json", "GET, HEAD", openapi},
    {"/v1/**", "", Nothing{}},
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

namespace {

bool isAt(const Endpoint& endpoint, std::string_view path) {
    std::string_view pattern = endpoint.path;
    if (pattern.ends_with("/**")) return path.starts_with(pattern.substr(0, pattern.size() - 2));
    if (pattern.ends_with("/*")) {
        pattern.remove_suffix(1);
        if (!path.starts_with(pattern)) return false;
        const std::string_view id = path.substr(pattern.size());
        return !id.empty() && id.find('/') == std::string_view::npos && percentDecoded(id);
    }
    return percentDecoded(path) == pattern;
}

} // namespace

bool Endpoint::allows(std::string_view method) const {
    for (std::string_view rest = methods;;) {
        const size_t end = rest.find(kSeparator);
        if (rest.substr(0, end) == method) return true;
        if (end == std::string_view::npos) return false;
        rest.remove_prefix(end + kSeparator.size());
    }
}

const Endpoint* endpointAt(std::string_view target) {
    const std::string_view path = pathOf(target);
    const auto* const found = std::find_if(std::begin(kEndpoints), std::end(kEndpoints),
                                           [&](const Endpoint& each) { return isAt(each, path); });
    return found == std::end(kEndpoints) ? nullptr : found;
}

const Endpoint& pageEndpoint() {
    static constexpr Endpoint kPage = {"/", "GET, HEAD", Nothing{}};
    return kPage;
}

std::span<const Endpoint> endpoints() { return kEndpoints; }

std::string idIn(std::string_view target) { return percentDecoded(target.substr(target.rfind('/') + 1)).value_or(""); }

HttpResponse notFound() { return {404, "not found\n"}; }

HttpResponse notFoundInJson() {
    return {404, problemDocument(404, "there is nothing at this path; /v1/openapi.json lists the paths"), kProblemType};
}

HttpResponse methodNotAllowed(const Endpoint& endpoint) {
    std::string names(endpoint.methods);
    if (const size_t comma = names.find(kSeparator); comma != std::string::npos) {
        names.replace(comma, kSeparator.size(), " or ");
    }
    if (endpoint.isOfJson()) {
        return {405, problemDocument(405, "use " + names), kProblemType, {{"Allow", std::string(endpoint.methods)}}};
    }
    return {405, "405: use " + names + "\n", "text/plain", {{"Allow", std::string(endpoint.methods)}}};
}

} // namespace tarn::server
