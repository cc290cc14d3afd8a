// SPDX-License-Identifier: Apache-2.0
// Who asks, by the header "Authorization: Bearer CODE".
#pragma once

#include "protocol/request_handler.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarn::server {

// The account whose access code the header's value shows; nothing: it shows none, or one that is not an account's. The
// time depends neither on whether the account exists nor on where the codes differ.
std::optional<uint32_t> accountOfBearer(std::string_view authorization, const RequestHandler::CodeFinder& accounts);

} // namespace tarn::server
