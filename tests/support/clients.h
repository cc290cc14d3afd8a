// SPDX-License-Identifier: Apache-2.0
// A client with an open session, for tests of what comes after.
#pragma once

#include "TarnInterface.h"
#include "support/access_keys.h"
#include "support/handles.h"
#include "support/scripted_services.h"

#include <string>

namespace kvxtest {

inline std::string goodKey(const FixedClock& clock, int encryptionMethod = 3, int checksumMethod = 3) {
    return accessKeyOf(std::to_string(clock.seconds()) + ":" + accessCode(encryptionMethod, checksumMethod));
}

// Ends its session with itself.
struct Client {
    explicit Client(ScriptedServices& scripted, const std::string& key, const std::string& host = "h",
                    bool doHttp = false)
        : client(scripted.services, key, "QOPX", host, 3, doHttp, error) {}
    explicit Client(ScriptedServices& scripted) : Client(scripted, goodKey(scripted.clock)) {}
    ~Client() { client.shutdown(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    tarn::ErrorSlot error;
    tarn::TarnInterface client;
};

// The library's copy of a client's host name, which it returns to the system without the memory hooks' knowledge, and
// nothing else: what a counter must show after shutdown.
constexpr size_t kHostCopyBytes = 2; // "h"

inline std::string describe(const tarn::ErrorSlot& error) {
    return error ? error->domain + " " + std::to_string(error->code) + " " + error->description : "no error";
}

} // namespace kvxtest
