// SPDX-License-Identifier: Apache-2.0
// What the records of an answer have no place for: where in the recording a query begins, how long the recording is,
// and its further copies. The HTTP header "Tarn-Match" carries it for the first match of an answer:
//
//   offset-ms=13955; duration-ms=183000; companions=T-0123456789abcdef,T-fedcba9876543210
#pragma once

#include "model/recogniser.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server {

inline constexpr char kMatchHeader[] = "Tarn-Match";

struct MatchPlace {
    std::optional<uint32_t> offsetMs;
    std::optional<uint32_t> durationMs;
    std::vector<std::string> companions; // track ids
};

// Companions whose ids are not of letters, digits and "-" are left out.
std::string matchHeader(const Match& match);
// What is not understood is left out: a server may say more, or less.
MatchPlace readMatchHeader(std::string_view text);

} // namespace tarn::server
