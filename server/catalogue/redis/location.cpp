// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/location.h"

#include "catalogue/errors.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>

namespace tarn::server::redis {

namespace {

constexpr std::string_view kScheme = "redis://";
constexpr std::string_view kName = "redis";
constexpr std::string_view kEncryptedName = "rediss"; // by TLS, which Debian's client library cannot do
constexpr uint32_t kMaxTimeoutMs = 600'000;
constexpr uint32_t kMaxCacheMegabytes = 65536;

template <class Number>
bool readNumber(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size();
}

// Takes what follows the last `mark` away from the text; empty where there is no mark.
std::string_view takeAfter(std::string_view& text, char mark) {
    const size_t at = text.rfind(mark);
    if (at == std::string_view::npos) return {};
    const std::string_view rest = text.substr(at + 1);
    text = text.substr(0, at);
    return rest;
}

bool isNameLetter(char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') || (letter >= '0' && letter <= '9') ||
           letter == '-' || letter == '_' || letter == '.';
}

// What stands before the first ":", in small letters; empty where that is no scheme.
std::string schemeOf(std::string_view text) {
    std::string scheme(text.substr(0, text.find(':')));
    if (scheme.size() == text.size() || !std::ranges::all_of(scheme, isNameLetter)) return {};
    for (char& letter : scheme) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return scheme;
}

} // namespace

std::string toText(const Address& address) {
    const bool numeric6 = address.host.find(':') != std::string::npos;
    return (numeric6 ? "[" + address.host + "]" : address.host) + ":" + std::to_string(address.port);
}

std::optional<Address> addressIn(std::string_view text) {
    Address address;
    const std::string_view port = takeAfter(text, ':');
    if (text.size() > 2 && text.front() == '[' && text.back() == ']') text = text.substr(1, text.size() - 2);
    address.host = text;
    if (!readNumber(port, address.port) || address.port == 0) return std::nullopt;
    return address;
}

bool isAddress(std::string_view text) {
    const std::string scheme = schemeOf(text);
    if (scheme == kName || scheme == kEncryptedName) return true;
    return !scheme.empty() && text.substr(scheme.size() + 1).starts_with("//");
}

std::string withoutLogin(std::string_view text) {
    const size_t end = text.rfind('@');
    if (!isAddress(text) || end == std::string_view::npos) return std::string(text);
    return std::string(text.substr(0, text.find(':'))) + "://" + std::string(text.substr(end + 1));
}

Location locationIn(const std::string& text) {
    Location location;
    std::string_view rest = text;
    location.shown = withoutLogin(text);
    const auto wrong = [&](const std::string& what) { return CatalogueError(location.shown + ": " + what); };
    if (schemeOf(text) == kEncryptedName) {
        throw wrong("the connection cannot be encrypted; use redis:// on a network of its own or through a tunnel");
    }
    if (!rest.starts_with(kScheme)) throw wrong("a catalogue is a folder or redis://HOST:PORT[,HOST:PORT...]");
    rest.remove_prefix(kScheme.size());
    const size_t end = rest.rfind('@');
    const std::string_view login = end == std::string_view::npos ? std::string_view() : rest.substr(0, end);
    if (end != std::string_view::npos) rest.remove_prefix(end + 1);
    const size_t colon = std::min(login.find(':'), login.size());
    location.user = login.substr(0, colon);
    location.password = login.substr(std::min(colon + 1, login.size()));
    const char* secret = std::getenv("TARN_REDIS_PASSWORD");
    if (location.password.empty() && secret != nullptr) location.password = secret;
    if (!location.user.empty() && location.password.empty()) {
        throw wrong("there is a user but no password; write USER:PASSWORD@ or set TARN_REDIS_PASSWORD");
    }

    for (std::string_view options = takeAfter(rest, '?'); !options.empty();) {
        const std::string_view option = options.substr(0, options.find('&'));
        options.remove_prefix(std::min(option.size() + 1, options.size()));
        constexpr std::string_view kTimeout = "timeout=";
        constexpr std::string_view kCache = "cache=";
        uint32_t number = 0;
        if (option.starts_with(kTimeout) && readNumber(option.substr(kTimeout.size()), number) && number > 0 &&
            number <= kMaxTimeoutMs) {
            location.timeout = std::chrono::milliseconds(number);
        } else if (option.starts_with(kCache) && readNumber(option.substr(kCache.size()), number) &&
                   number <= kMaxCacheMegabytes) {
            location.cacheBytes = size_t{number} << 20;
        } else {
            throw wrong("after ?, expected timeout=MILLISECONDS (1 to 600000) or cache=MEGABYTES (0 to 65536), found "
                        "\"" +
                        std::string(option) + "\"");
        }
    }
    if (const size_t slash = rest.find('/'); slash != std::string_view::npos) {
        location.name = rest.substr(slash + 1);
        rest = rest.substr(0, slash);
        if (location.name.empty() || !std::ranges::all_of(location.name, isNameLetter)) {
            throw wrong("the name after / holds letters, digits, \"-\", \"_\" and \".\", found \"" + location.name +
                        "\"");
        }
    }
    for (bool more = true; more;) {
        const size_t comma = rest.find(',');
        const std::string_view node = rest.substr(0, comma);
        const std::optional<Address> address = addressIn(node);
        if (!address || address->host.empty()) {
            throw wrong("expected HOST:PORT with a port of 1 to 65535, found \"" + std::string(node) + "\"");
        }
        location.nodes.push_back(*address);
        more = comma != std::string_view::npos;
        if (more) rest.remove_prefix(comma + 1);
    }
    return location;
}

} // namespace tarn::server::redis
