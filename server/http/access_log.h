// SPDX-License-Identifier: Apache-2.0
// A line of the log for each recognition request.
#pragma once

#include "http/exchange.h"

#include <chrono>
#include <spdlog/logger.h>

namespace tarn::server {

// total: from the request's header to the last byte of its answer.
void logAnswered(spdlog::logger& log, const Exchange& exchange, std::chrono::nanoseconds total);
// The client went before its answer.
void logDropped(spdlog::logger& log, const Exchange& exchange, std::chrono::nanoseconds total);

} // namespace tarn::server
