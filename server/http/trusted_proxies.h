// SPDX-License-Identifier: Apache-2.0
// The proxies whose word counts for where a request comes from.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server {

// An IPv4 or IPv6 address in its usual spelling; an IPv4 address that IPv6 wraps ("::ffff:127.0.0.1") becomes the IPv4
// address. Nothing: the text is no address.
std::optional<std::string> usualAddress(const std::string& text);

class TrustedProxies {
  public:
    // Throws std::invalid_argument where one is no address.
    explicit TrustedProxies(const std::vector<std::string>& addresses);

    // The client that the access log shows. peer: the other end of the connection. forwardedFor: the last header
    // X-Forwarded-For, to whose end each proxy appends the address that it was reached from, so that only the last one
    // is the trusted proxy's own word. Where that is no address, the peer is the client.
    std::string clientOf(const std::string& peer, std::string_view forwardedFor) const;

  private:
    std::vector<std::string> addresses_; // in their usual spelling
};

} // namespace tarn::server
