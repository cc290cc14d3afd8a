// SPDX-License-Identifier: Apache-2.0
// What a device is known by: random bytes that a server gave it.
#pragma once

#include <array>
#include <cstdint>

namespace tarn::server {

using DeviceIdentity = std::array<uint8_t, 16>;

} // namespace tarn::server
