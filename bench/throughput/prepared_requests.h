// SPDX-License-Identifier: Apache-2.0
// Requests for excerpts of synthetic music, made and asked once before anything is measured.
#pragma once

#include "synthetic_music.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::bench {

struct Prepared {
    std::string request;
    std::string answer;      // its body
    bool asExpected = false; // the right recording, or none for music that the catalogue does not hold
};

// 400 requests to the service at `port`. code: the access code of an account; count: how many recordings of the music
// are in the catalogue. Throws std::runtime_error when one is not answered.
std::vector<Prepared> prepare(const SyntheticMusic& music, uint16_t port, const std::string& code, uint32_t count,
                              bool known);

} // namespace tarn::bench
