// SPDX-License-Identifier: Apache-2.0
// The machine's network interfaces.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarn {

class NetworkInterface {
  public:
    virtual ~NetworkInterface() = default;
    // What a person would call it, such as "Wi-Fi".
    virtual std::optional<std::string> localizedDisplayName() const = 0;
    // Lower-case hexadecimal octets with colons between them.
    virtual std::optional<std::string> hardwareAddressString() const = 0;
};

using NetworkInterfaceList = std::vector<std::unique_ptr<NetworkInterface>>;

class NetworkInterfaces {
  public:
    virtual ~NetworkInterfaces() = default;
    // All of them, in system order.
    virtual NetworkInterfaceList copyAll() = 0;
};

} // namespace tarn
