// SPDX-License-Identifier: Apache-2.0
// The choice of the network interface whose hardware address identifies this device.
#pragma once

#include "platform/network_interfaces.h"

#include <optional>
#include <string>

namespace tarn {

// Its hardware address as the interface spells it; nothing if no interface has a name that is known.
std::optional<std::string> chooseDeviceId(NetworkInterfaces& interfaces);

} // namespace tarn
