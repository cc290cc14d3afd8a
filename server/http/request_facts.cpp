// SPDX-License-Identifier: Apache-2.0
#include "http/request_facts.h"

#include "base/percent_encoding.h"
#include "http/endpoints.h"
#include "http/listen_socket.h"

#include <cstring>
#include <microhttpd.h>
#include <strings.h>

namespace tarn::server {

namespace {

std::string headerOf(MHD_Connection* connection, const char* name) {
    const char* value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value == nullptr ? "" : value;
}

std::optional<Parameters> queryOf(MHD_Connection* connection) {
    std::optional<Parameters> query(std::in_place);
    const auto add = [](void* into, MHD_ValueKind, const char* name, size_t nameBytes, const char* value,
                        size_t valueBytes) -> MHD_Result {
        auto& parameters = *static_cast<std::optional<Parameters>*>(into);
        const auto decodedName = percentDecoded({name, nameBytes});
        const auto decodedValue = percentDecoded(value == nullptr ? "" : std::string_view(value, valueBytes));
        if (!decodedName || !decodedValue) parameters.reset();
        if (!parameters) return MHD_NO;
        parameters->emplace_back(*decodedName, *decodedValue);
        return MHD_YES;
    };
    MHD_get_connection_values_n(connection, MHD_GET_ARGUMENT_KIND, add, &query);
    return query;
}

} // namespace

std::string peerOf(MHD_Connection* connection) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    return addressText(info == nullptr ? nullptr : info->client_addr);
}

std::string_view forwardedFor(MHD_Connection* connection) {
    std::string_view last;
    const auto keepLast = [](void* kept, MHD_ValueKind, const char* name, const char* value) -> MHD_Result {
        if (value != nullptr && strcasecmp(name, "X-Forwarded-For") == 0) *static_cast<std::string_view*>(kept) = value;
        return MHD_YES;
    };
    MHD_get_connection_values(connection, MHD_HEADER_KIND, keepLast, &last);
    return last;
}

JsonHeader jsonHeaderOf(MHD_Connection* connection, JsonOperation operation, std::string_view target) {
    const bool hasId = operation == JsonOperation::kTrack || operation == JsonOperation::kAlbum;
    return {operation, hasId ? idIn(target) : "", queryOf(connection),
            headerOf(connection, MHD_HTTP_HEADER_AUTHORIZATION), headerOf(connection, MHD_HTTP_HEADER_CONTENT_TYPE)};
}

size_t leaveEscapes(void* /*nothing*/, MHD_Connection* /*connection*/, char* text) { return std::strlen(text); }

} // namespace tarn::server
