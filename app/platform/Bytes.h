#pragma once

#include <cstdint>
#include <vector>

namespace tarn {

using Bytes = std::vector<uint8_t>;

} // namespace tarn
