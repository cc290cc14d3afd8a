// SPDX-License-Identifier: Apache-2.0
// An absolute http URL, taken apart as far as a request needs it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn {

struct Url {
    // Nothing for another scheme, user information, an empty host, a port outside 1 to 65535, or a character that a
    // URL cannot hold (control characters, spaces, anything that is not ASCII).
    static std::optional<Url> parse(std::string_view text);

    std::string text;      // as given
    std::string authority; // host, and port where one is given: the value of a Host header
    std::string host;      // without the brackets of an IPv6 address
    uint16_t port = 80;
    std::string target; // path and query; "/" for an empty path
};

} // namespace tarn
