// SPDX-License-Identifier: Apache-2.0
#include "http/replying.h"

#include "protocol/match_place.h"

namespace tarn::server {

HttpResponse responseOf(const Reply& reply) {
    HttpResponse response = reply.status == 503 ? tryAgainLater(reply.body) : HttpResponse{reply.status, reply.body};
    if (reply.status == 200) response.type = "application/octet-stream";
    if (reply.type != nullptr) response.type = reply.type;
    response.headers.insert(response.headers.end(), reply.headers.begin(), reply.headers.end());
    if (!reply.match.empty()) response.headers.emplace_back(kMatchHeader, reply.match);
    response.closeConnection = reply.closeConnection;
    return response;
}

MHD_Result queueResponse(MHD_Connection* connection, const HttpResponse& response, bool closing) {
    // The library asks for bytes that may be written, copies them and writes nothing.
    std::string bytes = response.body;
    MHD_Response* made = MHD_create_response_from_buffer(bytes.size(), bytes.data(), MHD_RESPMEM_MUST_COPY);
    if (made == nullptr) return MHD_NO;
    MHD_add_response_header(made, "Content-Type", response.type);
    MHD_add_response_header(made, "Cache-Control", response.caching);
    for (const auto& [name, value] : response.headers) MHD_add_response_header(made, name, value.c_str());
    if (response.closeConnection || closing) MHD_add_response_header(made, "Connection", "close");
    const MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(response.status), made);
    MHD_destroy_response(made);
    return queued;
}

} // namespace tarn::server
