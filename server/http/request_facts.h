// SPDX-License-Identifier: Apache-2.0
// What the header of a request says, as the HTTP library has it.
#pragma once

#include "json/json_request.h"

#include <cstddef>
#include <string>
#include <string_view>

struct MHD_Connection;

namespace tarn::server {

// The address that the connection comes from.
std::string peerOf(MHD_Connection* connection);
// Of several headers X-Forwarded-For, the last one; empty: there is none.
std::string_view forwardedFor(MHD_Connection* connection);
JsonHeader jsonHeaderOf(MHD_Connection* connection, JsonOperation operation, std::string_view target);
// For the library, which would resolve the escapes of a path: a slash or a zero byte among them would change it.
size_t leaveEscapes(void* nothing, MHD_Connection* connection, char* text);

} // namespace tarn::server
