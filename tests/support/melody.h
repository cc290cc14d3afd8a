// SPDX-License-Identifier: Apache-2.0
// Pieces of music that differ from each other: mono, 22050 Hz, from a seed.
#pragma once

#include <cstdint>
#include <vector>

namespace kvxtest {

// Three voices of decaying notes with overtones over a beat; each seed has its own notes, lengths and tempo.
std::vector<int16_t> melody(uint32_t seed, uint32_t seconds);

} // namespace kvxtest
