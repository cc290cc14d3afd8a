// SPDX-License-Identifier: Apache-2.0
#include "http/trusted_proxies.h"

#include <algorithm>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdexcept>

namespace tarn::server {

namespace {

std::string textOf(int family, const void* address) {
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(family, address, text, sizeof text);
    return text;
}

// Of "ADDRESS", "IPV4:PORT" and "[IPV6]:PORT", the address.
std::string_view withoutPort(std::string_view hop) {
    if (hop.starts_with('[')) return hop.substr(1, hop.find(']') - 1);
    const size_t colon = hop.find(':');
    const bool onlyOne = colon != std::string_view::npos && hop.find(':', colon + 1) == std::string_view::npos;
    return onlyOne ? hop.substr(0, colon) : hop;
}

std::string_view lastHop(std::string_view forwardedFor) {
    const size_t comma = forwardedFor.rfind(',');
    if (comma != std::string_view::npos) forwardedFor.remove_prefix(comma + 1);
    constexpr std::string_view kBlanks = " \t";
    forwardedFor.remove_prefix(std::min(forwardedFor.find_first_not_of(kBlanks), forwardedFor.size()));
    return forwardedFor.substr(0, forwardedFor.find_last_not_of(kBlanks) + 1);
}

} // namespace

std::optional<std::string> usualAddress(const std::string& text) {
    in_addr v4{};
    if (inet_pton(AF_INET, text.c_str(), &v4) == 1) return textOf(AF_INET, &v4);
    in6_addr v6{};
    if (inet_pton(AF_INET6, text.c_str(), &v6) != 1) return std::nullopt;
    constexpr size_t kWrapped = 12; // bytes before the IPv4 address
    if (IN6_IS_ADDR_V4MAPPED(&v6)) return textOf(AF_INET, v6.s6_addr + kWrapped);
    return textOf(AF_INET6, &v6);
}

TrustedProxies::TrustedProxies(const std::vector<std::string>& addresses) {
    addresses_.reserve(addresses.size());
    for (const std::string& text : addresses) {
        const std::optional<std::string> address = usualAddress(text);
        if (!address)
            throw std::invalid_argument('"' + text + "\" is not an address of a proxy; give one as in 127.0.0.1");
        addresses_.push_back(*address);
    }
}

std::string TrustedProxies::clientOf(const std::string& peer, std::string_view forwardedFor) const {
    const std::string usual = usualAddress(peer).value_or(peer);
    if (std::find(addresses_.begin(), addresses_.end(), usual) == addresses_.end()) return peer;
    return usualAddress(std::string(withoutPort(lastHop(forwardedFor)))).value_or(peer);
}

} // namespace tarn::server
