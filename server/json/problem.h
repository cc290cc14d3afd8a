// SPDX-License-Identifier: Apache-2.0
// Failures as RFC 7807 has them: documents of the type application/problem+json.
#pragma once

#include "protocol/request_handler.h"

#include <string>

namespace tarn::server {

inline constexpr char kJsonType[] = "application/json";
inline constexpr char kProblemType[] = "application/problem+json";

// The document; detail: what is wrong, and what to do.
std::string problemDocument(int status, const std::string& detail);

// Text to the client; reason, where there is more to say, to the log alone. A 401 says how to show who asks.
Reply problem(RequestReport report, RequestOutcome outcome, int status, const std::string& detail,
              const std::string& reason = {});

// The same for a failure that a reply to a packet states as text.
Reply problemOf(Reply failure);

} // namespace tarn::server
