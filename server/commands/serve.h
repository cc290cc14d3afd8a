// SPDX-License-Identifier: Apache-2.0
// tarn-server serve: accounts, catalogue and network together, until a signal ends it.
#pragma once

#include "commands/end_signal.h"
#include "http/http_limits.h"
#include "model/recogniser.h"

#include <filesystem>
#include <iosfwd>
#include <memory>
#include <spdlog/logger.h>
#include <string>
#include <vector>

namespace tarn::server {

struct ServeOptions {
    std::string listen = "127.0.0.1:8080";
    std::string catalogue;                   // where it is, for the log
    std::filesystem::path accounts;          // see defaultAccountsFile()
    std::filesystem::path identities;        // empty: "identities" beside the accounts
    std::vector<std::string> trustedProxies; // addresses; see http/trusted_proxies.h
    bool page = false;                       // also on another address than loopback
    HttpLimits limits;
};

// What a service has before it has anything else, and before its process has a second thread.
struct ServiceSetup {
    ServiceSetup();

    EndSignal endSignal;
    const bool toJournal;                // whether standard error is the system's journal
    std::shared_ptr<spdlog::logger> log; // to standard error
};

// Prints "listening on ADDRESS:PORT", then serves until SIGTERM or SIGINT, then finishes what is in flight. The log has
// one line a request. A catalogue that cannot be asked is looked at again every second, and until it can be, requests
// are answered with 503. Exit status: 0; 1 when the service could not start, with the reason on err.
int runServe(const ServeOptions& options, ServiceSetup& setup, Recogniser& recogniser, std::ostream& out,
             std::ostream& err);

} // namespace tarn::server
