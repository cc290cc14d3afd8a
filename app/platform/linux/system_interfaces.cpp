// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/system_interfaces.h"

#include "platform/hexadecimal.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <ifaddrs.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>
#include <string_view>
#include <sys/socket.h>
#include <utility>

namespace tarn {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBuiltInEthernet = "Built-in Ethernet";
constexpr const char* kUsbEthernet = "USB Ethernet";
constexpr const char* kEthernet = "Ethernet";
constexpr const char* kWiFi = "Wi-Fi";
// Neither may look like a name by which a device identity is chosen.
constexpr const char* kVirtualLink = "Virtual Link";
constexpr const char* kOtherLink = "Other Link";

// Buses whose devices cannot be unplugged.
constexpr std::array<std::string_view, 5> kOnBoardBuses = {"pci", "platform", "virtio", "vmbus", "xen"};

struct ListedInterface : NetworkInterface {
    ListedInterface(std::string displayName, std::optional<std::string> hardwareAddress)
        : name(std::move(displayName)), address(std::move(hardwareAddress)) {}
    std::optional<std::string> localizedDisplayName() const override { return name; }
    std::optional<std::string> hardwareAddressString() const override { return address; }

    std::string name;
    std::optional<std::string> address;
};

// The device of a link, from sysfs; without sysfs every link counts as virtual.
struct Attachment {
    bool physical = false;
    bool wireless = false;
    std::string bus; // of a physical one
};

bool present(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

Attachment readAttachment(const fs::path& sysfsRoot, const std::string& link) {
    const fs::path directory = sysfsRoot / "class" / "net" / link;
    Attachment attachment;
    attachment.physical = present(directory / "device");
    attachment.wireless = present(directory / "wireless") || present(directory / "phy80211");
    std::error_code none;
    attachment.bus = fs::read_symlink(directory / "device" / "subsystem", none).filename().string();
    return attachment;
}

std::string displayName(const KernelLink& link, const Attachment& attachment, bool machineHasPhysicalLinks) {
    if (link.hardwareType != ARPHRD_ETHER) return kOtherLink;
    if (!attachment.physical) {
        // A container has only virtual links, so its eth0 counts as Ethernet.
        return machineHasPhysicalLinks ? kVirtualLink : kEthernet;
    }
    if (attachment.wireless) return kWiFi;
    if (attachment.bus == "usb") return kUsbEthernet;
    const bool onBoard = std::find(kOnBoardBuses.begin(), kOnBoardBuses.end(), attachment.bus) != kOnBoardBuses.end();
    return onBoard ? kBuiltInEthernet : kEthernet;
}

std::optional<std::string> addressText(const KernelLink& link) {
    const auto isZero = [](uint8_t octet) { return octet == 0; };
    if (link.hardwareType == ARPHRD_LOOPBACK || std::all_of(link.address.begin(), link.address.end(), isZero)) {
        return std::nullopt;
    }
    std::string text;
    for (const uint8_t octet : link.address) {
        if (!text.empty()) text += ':';
        appendHexadecimal(text, octet, kLowerDigits);
    }
    return text;
}

} // namespace

std::vector<KernelLink> readKernelLinks() {
    std::vector<KernelLink> links;
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) return links;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(first, freeifaddrs);
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET) continue;
        const auto* packet = reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr);
        KernelLink link;
        link.name = entry->ifa_name;
        link.index = packet->sll_ifindex;
        link.hardwareType = packet->sll_hatype;
        // Addresses longer than the field (InfiniBand's 20 octets) belong to no kind of link that matters here.
        if (packet->sll_halen <= sizeof packet->sll_addr) {
            link.address.assign(packet->sll_addr, packet->sll_addr + packet->sll_halen);
        }
        links.push_back(std::move(link));
    }
    return links;
}

NetworkInterfaceList SystemInterfaces::copyAll() {
    std::vector<KernelLink> links = links_();
    std::stable_sort(links.begin(), links.end(),
                     [](const KernelLink& a, const KernelLink& b) { return a.index < b.index; });
    std::vector<Attachment> attachments;
    attachments.reserve(links.size());
    for (const KernelLink& link : links) attachments.push_back(readAttachment(sysfsRoot_, link.name));
    const bool anyPhysical =
        std::any_of(attachments.begin(), attachments.end(), [](const Attachment& a) { return a.physical; });

    NetworkInterfaceList list;
    list.reserve(links.size());
    for (size_t i = 0; i < links.size(); ++i) {
        list.push_back(std::make_unique<ListedInterface>(displayName(links[i], attachments[i], anyPhysical),
                                                         addressText(links[i])));
    }
    return list;
}

} // namespace tarn
