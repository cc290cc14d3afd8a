// SPDX-License-Identifier: Apache-2.0
// The end of a request: its reply as HTTP has it, handed to the HTTP library.
#pragma once

#include "http/http_response.h"
#include "protocol/request_handler.h"

#include <microhttpd.h>

namespace tarn::server {

HttpResponse responseOf(const Reply& reply);

// Copies the response. closing: the connection ends with it, whatever the response says.
MHD_Result queueResponse(MHD_Connection* connection, const HttpResponse& response, bool closing);

} // namespace tarn::server
