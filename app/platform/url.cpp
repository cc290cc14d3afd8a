// SPDX-License-Identifier: Apache-2.0
#include "platform/url.h"

#include <algorithm>
#include <charconv>

namespace tarn {
namespace {

constexpr std::string_view kScheme = "http://";

bool allowedInUrl(char c) { return c > ' ' && c < '\x7f'; }

// Nothing for digits that are no port number.
std::optional<uint16_t> parsePort(std::string_view digits) {
    uint16_t port = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, status] = std::from_chars(digits.data(), end, port);
    if (status != std::errc() || stop != end || port == 0) return std::nullopt;
    return port;
}

// Splits "host", "host:port", "[address]" or "[address]:port" into url; false when it is none of them.
bool splitAuthority(std::string_view authority, Url& url) {
    std::string_view host;
    std::string_view afterHost;
    if (authority.starts_with('[')) {
        const size_t bracket = authority.find(']');
        if (bracket == std::string_view::npos) return false;
        host = authority.substr(1, bracket - 1);
        afterHost = authority.substr(bracket + 1);
    } else {
        const size_t colon = std::min(authority.find(':'), authority.size());
        host = authority.substr(0, colon);
        afterHost = authority.substr(colon);
    }
    if (host.empty()) return false;
    if (!afterHost.empty()) {
        if (afterHost.front() != ':') return false;
        const auto port = parsePort(afterHost.substr(1));
        if (!port) return false;
        url.port = *port;
    }
    url.host = host;
    return true;
}

} // namespace

std::optional<Url> Url::parse(std::string_view text) {
    if (!text.starts_with(kScheme) || !std::all_of(text.begin(), text.end(), allowedInUrl)) return std::nullopt;
    const std::string_view rest = text.substr(kScheme.size());
    const size_t authorityEnd = std::min(rest.find_first_of("/?#"), rest.size());
    const std::string_view authority = rest.substr(0, authorityEnd);
    const std::string_view target = rest.substr(authorityEnd);

    Url url;
    if (authority.find('@') != std::string_view::npos || !splitAuthority(authority, url)) return std::nullopt;
    url.text = text;
    url.authority = authority;
    url.target = target.substr(0, target.find('#')); // a fragment is never sent
    if (!url.target.starts_with('/')) url.target.insert(0, 1, '/');
    return url;
}

} // namespace tarn
