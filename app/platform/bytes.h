// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

namespace tarn {

using Bytes = std::vector<uint8_t>;

} // namespace tarn
