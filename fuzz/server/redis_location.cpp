// SPDX-License-Identifier: Apache-2.0
// Where a catalogue lies in Redis servers, as somebody types it: the input as it is, and after a login.
//
// Holds: a location is refused, or has nodes, a name and bounds as its page says and is written and read again the
// same; neither what is shown nor a message holds the password.
#include "catalogue/redis/location.h"

#include "catalogue/errors.h"
#include "fuzz_target.h"

#include <cstdlib>
#include <optional>
#include <string>

namespace {

using namespace tarn::server;
using redis::Location;

const std::string kPassword = "hidden-password-5f2c";

std::optional<Location> read(const std::string& text, bool hasPassword) {
    const auto hides = [&](const std::string& shown) {
        return !hasPassword || shown.find(kPassword) == std::string::npos;
    };
    REQUIRE(hides(redis::withoutLogin(text)));
    try {
        Location location = redis::locationIn(text);
        REQUIRE(hides(location.shown) && location.shown == redis::withoutLogin(text));
        return location;
    } catch (const CatalogueError& error) {
        REQUIRE(hides(error.what()));
        return std::nullopt;
    }
}

void check(const Location& location) {
    REQUIRE(!location.nodes.empty() && !location.name.empty());
    for (const redis::Address& node : location.nodes) REQUIRE(node.port != 0 && !node.host.empty());
    REQUIRE(location.name.find_first_of("/?@:,{} ") == std::string::npos);
    REQUIRE(location.timeout.count() >= 1 && location.timeout.count() <= 600'000);
    REQUIRE(location.cacheBytes <= size_t{65536} << 20 && location.user.find(':') == std::string::npos);
    REQUIRE(location.user.empty() || !location.password.empty());

    std::string written = "redis://";
    if (!location.password.empty()) written += location.user + ":" + location.password + "@";
    for (size_t i = 0; i < location.nodes.size(); ++i) {
        if (i > 0) written += ',';
        written += toText(location.nodes[i]);
    }
    written += "/" + location.name + "?timeout=" + std::to_string(location.timeout.count());
    written += "&cache=" + std::to_string(location.cacheBytes >> 20);
    const Location again = redis::locationIn(written);
    REQUIRE(again.nodes == location.nodes && again.name == location.name && again.timeout == location.timeout);
    REQUIRE(again.user == location.user && again.password == location.password);
    REQUIRE(again.cacheBytes == location.cacheBytes);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    unsetenv("TARN_REDIS_PASSWORD");
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (const auto location = read(text, false)) check(*location);
    constexpr std::string_view kScheme = "redis://";
    if (!text.starts_with(kScheme) || text.find(kPassword) != std::string::npos) return 0;
    const std::string after = text.substr(kScheme.size());
    if (const auto location = read("redis://user:" + kPassword + "@" + after, true)) check(*location);
    REQUIRE(!read("rediss://user:" + kPassword + "@" + after, true));
    return 0;
}
