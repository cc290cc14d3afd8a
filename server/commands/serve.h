// SPDX-License-Identifier: Apache-2.0
// tarn-server serve: accounts, catalogue and network together, until a signal ends it.
#pragma once

#include "http/http_server.h"
#include "model/recogniser.h"

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

namespace tarn::server {

// Opens the catalogue; log: for what the log is to say of it. It may throw: the service runs all the same, answers 503,
// and tries again every second.
using LogLine = std::function<void(const std::string&)>;
using RecogniserFactory = std::function<std::unique_ptr<Recogniser>(const LogLine& log)>;

struct ServeOptions {
    std::string listen = "127.0.0.1:8080";
    std::string catalog;              // its path, for the log
    std::filesystem::path accounts;   // see defaultAccountsFile()
    std::filesystem::path identities; // empty: "identities" beside the accounts
    HttpLimits limits;
};

// $STATE_DIRECTORY, which a service manager sets, else $XDG_STATE_HOME/tarn-server, else ~/.local/state/tarn-server.
std::filesystem::path stateDirectory();
std::filesystem::path defaultAccountsFile();

// Prints "listening on ADDRESS:PORT", then serves until SIGTERM or SIGINT, then finishes what is in flight. The log
// goes to standard error, one line a request. Exit status: 0; 1 when the service could not start, told on err.
int runServe(const ServeOptions& options, const RecogniserFactory& openCatalogue, std::ostream& out, std::ostream& err);

} // namespace tarn::server
