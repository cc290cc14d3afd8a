// SPDX-License-Identifier: Apache-2.0
// Where a request's body ends must be beyond doubt: a proxy in front that reads the header otherwise would take a part
// of the body for the next request, or the other way round.
#pragma once

struct MHD_Connection;

namespace tarn::server {

// What is wrong with the framing of the request whose header has arrived; null: nothing.
const char* framingFault(MHD_Connection* connection, const char* httpVersion);

} // namespace tarn::server
