// SPDX-License-Identifier: Apache-2.0
// How long random tests go on: the environment's TARN_TEST_ROUNDS times as long as usual. TARN_TEST_SEED gives a long
// run other numbers than the last one had.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace kvxtest {

inline uint32_t rounds(uint32_t usual) {
    const char* times = std::getenv("TARN_TEST_ROUNDS");
    const long wanted = times == nullptr ? 1 : std::strtol(times, nullptr, 10);
    return wanted > 1 ? usual * static_cast<uint32_t>(wanted) : usual;
}

inline uint32_t seed(uint32_t usual) {
    const char* wanted = std::getenv("TARN_TEST_SEED");
    return wanted == nullptr ? usual : static_cast<uint32_t>(std::strtoul(wanted, nullptr, 10));
}

} // namespace kvxtest
