// SPDX-License-Identifier: Apache-2.0
#include "device_identity.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#undef NDEBUG // the assertion holds in every build
#include <cassert>

namespace tarn {
namespace {

// Best first.
constexpr std::array<std::string_view, 4> kPreferredNames = {"Built-in Ethernet", "Ethernet", "AirPort", "Wi-Fi"};

bool equalButForCase(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

// The index of the most preferred name that occurs anywhere in the display name; the table's size if none does.
size_t preferenceOf(std::string_view displayName) {
    const auto occurs = [&](std::string_view name) {
        return std::search(displayName.begin(), displayName.end(), name.begin(), name.end(), equalButForCase) !=
               displayName.end();
    };
    return static_cast<size_t>(std::find_if(kPreferredNames.begin(), kPreferredNames.end(), occurs) -
                               kPreferredNames.begin());
}

} // namespace

std::optional<std::string> chooseDeviceId(NetworkInterfaces& interfaces) {
    std::array<std::optional<std::string>, kPreferredNames.size()> addresses;
    const NetworkInterfaceList list = interfaces.copyAll();
    for (const auto& thisInterface : list) {
        assert(thisInterface != NULL); // NOLINT(modernize-use-nullptr): the text is what the user sees
        const auto name = thisInterface->localizedDisplayName();
        const auto address = thisInterface->hardwareAddressString();
        if (!name || !address) continue;
        const size_t preference = preferenceOf(*name);
        if (preference < addresses.size()) addresses[preference] = address; // the last of a name, on purpose
    }
    const auto found =
        std::find_if(addresses.begin(), addresses.end(), [](const auto& each) { return each.has_value(); });
    return found == addresses.end() ? std::nullopt : *found;
}

} // namespace tarn
