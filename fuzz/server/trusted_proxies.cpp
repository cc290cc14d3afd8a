// SPDX-License-Identifier: Apache-2.0
// The header X-Forwarded-For, which anybody can send, from a proxy and from somebody else.
//
// Holds: the client is the peer or an address in its usual spelling; only the header's last part counts; nobody but the
// proxy is believed.
#include "http/trusted_proxies.h"

#include "fuzz_target.h"

#include <string>

namespace {

using namespace tarn::server;

const std::string kProxy = "127.0.0.1";
const std::string kStranger = "192.0.2.9";

void expectUsual(const std::string& address) {
    REQUIRE(!address.empty() && address.size() <= 45);
    REQUIRE(address.find_first_not_of("0123456789abcdef.:") == std::string::npos);
    REQUIRE(usualAddress(address) == address);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const TrustedProxies proxies({kProxy, "::1"});
    const std::string header(reinterpret_cast<const char*>(data), size);
    const std::string client = proxies.clientOf(kProxy, header);
    expectUsual(client);
    REQUIRE(proxies.clientOf(kProxy, "198.51.100.7, " + header) == client);
    REQUIRE(proxies.clientOf(kProxy, header + ",") == kProxy);
    REQUIRE(proxies.clientOf(kProxy, header + ", 198.51.100.7\t") == "198.51.100.7");
    REQUIRE(proxies.clientOf(kStranger, header) == kStranger);
    REQUIRE(proxies.clientOf(header, kStranger) == header || usualAddress(header).has_value());
    if (const auto address = usualAddress(header)) expectUsual(*address);
    return 0;
}
