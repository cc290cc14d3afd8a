// SPDX-License-Identifier: Apache-2.0
// Network interfaces from the kernel's list, with display names that follow from what sysfs says of the device.
#pragma once

#include "platform/network_interfaces.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tarn {

// One link as the kernel lists it.
struct KernelLink {
    std::string name;
    int index = 0;
    uint16_t hardwareType = 0;    // an ARPHRD_ number
    std::vector<uint8_t> address; // empty: none
};

// Every link of this machine, in the kernel's order.
std::vector<KernelLink> readKernelLinks();

class SystemInterfaces : public NetworkInterfaces {
  public:
    using LinkSource = std::function<std::vector<KernelLink>()>;

    explicit SystemInterfaces(std::string sysfsRoot = "/sys", LinkSource links = readKernelLinks)
        : sysfsRoot_(std::move(sysfsRoot)), links_(std::move(links)) {}
    // In index order. Loopback and all-zero addresses count as none.
    NetworkInterfaceList copyAll() override;

  private:
    std::string sysfsRoot_;
    LinkSource links_;
};

} // namespace tarn
