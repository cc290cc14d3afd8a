// SPDX-License-Identifier: Apache-2.0
// Display names and addresses of network interfaces, on trees like those of real machines.
#include "platform/linux/system_interfaces.h"
#include "support/hex.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>
#include <net/if_arp.h>
#include <string>
#include <vector>

namespace kvxtest {
namespace {

namespace fs = std::filesystem;

struct Link {
    std::string name;
    int index;
    std::string bus = {}; // empty: virtual
    bool wireless = false;
    uint16_t hardwareType = ARPHRD_ETHER;
    std::string address = "02 fc 00 00 00 0a";
};

struct Shown {
    std::string name;
    std::string address; // "none" for none
    bool operator==(const Shown&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Shown& shown) { return out << shown.name << " " << shown.address; }

// The part of sysfs that tells of a link: class/net/NAME leads to the device tree, where the link lies below the device
// that it belongs to.
void plant(const fs::path& root, const Link& link) {
    const bool isVirtual = link.bus.empty();
    const fs::path device = root / "devices" / (isVirtual ? "virtual" : "dev-" + link.name);
    const fs::path node = device / "net" / link.name;
    fs::create_directories(node);
    fs::create_directories(root / "class" / "net");
    fs::create_directory_symlink(node, root / "class" / "net" / link.name);
    if (!isVirtual) {
        fs::create_directories(root / "bus" / link.bus);
        fs::create_directory_symlink(root / "bus" / link.bus, device / "subsystem");
        fs::create_directory_symlink(device, node / "device");
    }
    if (link.wireless) fs::create_directories(node / "phy80211");
}

std::vector<Shown> shownFor(const std::vector<Link>& links, bool withSysfs = true) {
    const TemporaryDirectory root;
    std::vector<tarn::KernelLink> kernelLinks;
    for (const Link& link : links) {
        if (withSysfs) plant(root.path(), link);
        kernelLinks.push_back({link.name, link.index, link.hardwareType, fromHex(link.address)});
    }
    std::vector<Shown> shown;
    for (const auto& entry : tarn::SystemInterfaces(root.path().string(), [&] { return kernelLinks; }).copyAll()) {
        shown.push_back(
            {entry->localizedDisplayName().value_or("none"), entry->hardwareAddressString().value_or("none")});
    }
    return shown;
}

const Link kLoopback = {"lo", 1, "", false, ARPHRD_LOOPBACK, "00 00 00 00 00 00"};

TEST(SystemInterfaces, AreNamedByWhatTheyHangOn) {
    struct Case {
        const char* what;
        Link link;
        const char* name;
    };
    const Case cases[] = {
        {"on-board wired", {"enp3s0", 2, "pci"}, "Built-in Ethernet"},
        {"wired of a board computer", {"end0", 2, "platform"}, "Built-in Ethernet"},
        {"wired of a virtual machine", {"eth0", 2, "virtio"}, "Built-in Ethernet"},
        {"removable wired", {"enx001122334455", 2, "usb"}, "USB Ethernet"},
        {"wired on another bus", {"eth0", 2, "pcmcia"}, "Ethernet"},
        {"on-board wireless", {"wlp2s0", 2, "pci", true}, "Wi-Fi"},
        {"removable wireless", {"wlx00", 2, "usb", true}, "Wi-Fi"},
        {"not of Ethernet type", {"ib0", 2, "pci", false, ARPHRD_INFINIBAND}, "Other Link"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(shownFor({c.link}), (std::vector<Shown>{{c.name, "02:fc:00:00:00:0a"}}));
    }
}

TEST(SystemInterfaces, ALaptopShowsItsOwnLinksAndHidesVirtualOnes) {
    EXPECT_EQ(shownFor({kLoopback,
                        {"enp0s31f6", 2, "pci", false, ARPHRD_ETHER, "54 ee 75 00 00 01"},
                        {"wlp4s0", 3, "pci", true, ARPHRD_ETHER, "a4 34 d9 00 00 02"},
                        {"docker0", 4, "", false, ARPHRD_ETHER, "02 42 00 00 00 03"},
                        {"veth1a2b", 5, "", false, ARPHRD_ETHER, "9a 00 00 00 00 04"},
                        {"tun0", 6, "", false, ARPHRD_NONE, ""}}),
              (std::vector<Shown>{{"Other Link", "none"},
                                  {"Built-in Ethernet", "54:ee:75:00:00:01"},
                                  {"Wi-Fi", "a4:34:d9:00:00:02"},
                                  {"Virtual Link", "02:42:00:00:00:03"},
                                  {"Virtual Link", "9a:00:00:00:00:04"},
                                  {"Other Link", "none"}}));
}

TEST(SystemInterfaces, AVirtualMachineHidesItsFunctionBlocks) {
    EXPECT_EQ(shownFor({kLoopback, {"ifb0", 2}, {"ifb1", 3}, {"eth0", 4, "virtio"}}).at(1).name, "Virtual Link");
    EXPECT_EQ(shownFor({kLoopback, {"ifb0", 2}, {"ifb1", 3}, {"eth0", 4, "virtio"}}).at(3).name, "Built-in Ethernet");
}

TEST(SystemInterfaces, InAContainerTheVirtualLinkIsEthernet) {
    const std::vector<Link> container = {kLoopback, {"eth0", 2, "", false, ARPHRD_ETHER, "02 42 ac 11 00 02"}};
    const std::vector<Shown> expected = {{"Other Link", "none"}, {"Ethernet", "02:42:ac:11:00:02"}};
    EXPECT_EQ(shownFor(container), expected);
    EXPECT_EQ(shownFor(container, false), expected); // without sysfs nothing is known to be physical
}

TEST(SystemInterfaces, AVirtualLinkNamedLikeAPhysicalOneIsHidden) {
    EXPECT_EQ(shownFor({{"Ethernet", 3}, {"Wi-Fi", 4}, {"enp3s0", 2, "pci"}}).at(1).name, "Virtual Link");
}

TEST(SystemInterfaces, StandInIndexOrder) {
    const auto shown = shownFor({{"c", 7, "usb"}, {"a", 2, "pci"}, {"b", 5, "pci", true}});
    ASSERT_EQ(shown.size(), 3U);
    EXPECT_EQ(shown[0].name, "Built-in Ethernet");
    EXPECT_EQ(shown[1].name, "Wi-Fi");
    EXPECT_EQ(shown[2].name, "USB Ethernet");
}

TEST(SystemInterfaces, HaveNoAddressWhenItIsZeroOrMissingOrLoopback) {
    const auto addressOf = [](uint16_t type, const char* address) {
        return shownFor({{"x", 1, "pci", false, type, address}}).at(0).address;
    };
    EXPECT_EQ(addressOf(ARPHRD_ETHER, "00 00 00 00 00 00"), "none");
    EXPECT_EQ(addressOf(ARPHRD_ETHER, ""), "none");
    EXPECT_EQ(addressOf(ARPHRD_LOOPBACK, "02 00 00 00 00 01"), "none");
    EXPECT_EQ(addressOf(ARPHRD_ETHER, "00 00 00 00 00 01"), "00:00:00:00:00:01");
    EXPECT_EQ(addressOf(ARPHRD_ETHER, "AB CD EF 01 23 45"), "ab:cd:ef:01:23:45");
}

TEST(SystemInterfaces, ListTheMachinesOwnLinks) {
    bool loopback = false;
    for (const auto& link : tarn::readKernelLinks()) {
        EXPECT_FALSE(link.name.empty());
        EXPECT_GT(link.index, 0);
        loopback = loopback || link.hardwareType == ARPHRD_LOOPBACK;
    }
    EXPECT_TRUE(loopback);
}

} // namespace
} // namespace kvxtest
