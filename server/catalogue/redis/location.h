// SPDX-License-Identifier: Apache-2.0
// Where a catalogue lies that Redis servers hold:
//
//   redis://[USER[:PASSWORD]@]HOST:PORT[,HOST:PORT...][/NAME][?timeout=MILLISECONDS&cache=MEGABYTES]
//
// Any of the nodes of a cluster, or one server without cluster mode. NAME keeps the catalogues of one cluster apart;
// each of its letters costs memory in every key. USER holds no ":", and nothing after PASSWORD an "@".
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::server::redis {

struct Address {
    std::string host;
    uint16_t port = 0;
    bool operator==(const Address&) const = default;
};
std::string toText(const Address& address);
// HOST:PORT or [HOST]:PORT, as toText() writes it and as the servers do, without brackets.
std::optional<Address> addressIn(std::string_view text);

struct Location {
    std::string shown; // without the password, for messages
    std::string user;
    std::string password; // of the location, or else of the environment's TARN_REDIS_PASSWORD
    std::vector<Address> nodes;
    std::string name = "t";
    // How long a look-up waits for a node that sends nothing.
    std::chrono::milliseconds timeout{100};
    size_t cacheBytes = size_t{128} << 20; // of lists that a reader keeps from one commit to the next
};

// Whether a text is meant as an address, right or wrong: it begins with a scheme and "//", or with "redis:". Every
// other text is a folder.
bool isAddress(std::string_view text);

// What may be shown of a text: of an address, be it right or wrong, all but user and password.
std::string withoutLogin(std::string_view text);

// Throws CatalogueError that says what is wrong.
Location locationIn(const std::string& text);

} // namespace tarn::server::redis
