// SPDX-License-Identifier: Apache-2.0
#include "commands/serve.h"

#include "commands/options/declarations.h"
#include "http/trusted_proxies.h"
#include "matching/catalogue_recogniser.h"

#include <thread>

namespace tarn::server {

namespace {

int serve(const ServeOptions& options, std::ostream& out, std::ostream& err) {
    ServiceSetup setup;
    CatalogueRecogniser recogniser(options.catalogue,
                                   [&setup](const std::string& line) { setup.log->error("catalogue: {}", line); });
    // Ends before the recogniser that it uses.
    const std::jthread warming([&](const std::stop_token& stop) { recogniser.warmUp(stop); });
    return runServe(options, setup, recogniser, out, err);
}

std::string whatIsWrongWithAddress(const std::string& text) {
    return usualAddress(text) ? "" : text + " is not an address; give one as in 127.0.0.1";
}

} // namespace

void declareServe(CommandLine& line) {
    const auto options = std::make_shared<ServeOptions>();
    Command command = line.command("serve", "Answer recognition requests");
    addCatalogueOption(command, options->catalogue);
    command.text("--listen", options->listen, "HOST:PORT", "Where to listen; port 0 picks a free one");
    command.texts("--trusted-proxy", options->trustedProxies, "ADDRESS",
                  "Proxy in front: the log shows the last address of its X-Forwarded-For", whatIsWrongWithAddress);
    command.flag("--page", options->page, "Serve the page for browsers; on a loopback address it is always served");
    HttpLimits& limits = options->limits;
    command.number("--workers", limits.workers, 0, 1024, "Threads that ask the catalogue; 0: one for each processor");
    command.number("--connections", limits.connections, 1, 100'000, "Connections at once");
    command.number("--connections-per-address", limits.connectionsPerAddress, 0, 100'000,
                   "Connections at once from one address; 0: no limit");
    command.number("--packet-bytes", limits.packetBytes, 1024, 4 * 1024 * 1024, "Bytes of the longest packet");
    command.number("--audio-bytes", limits.audioBytes, 1024, 1024 * 1024 * 1024,
                   "Bytes of the longest audio for the JSON interface");
    command.number("--audio-bytes-at-once", limits.audioBytesAtOnce, 1024, 64ULL * 1024 * 1024 * 1024,
                   "Bytes of all audio that is being sent or waits; one account has half of them");
    command.number("--waiting", limits.waiting, 1, 1'000'000, "Admitted requests that wait for a worker");
    command.seconds("--request-seconds", limits.requestTime, "Longest time to send a request, and to take its answer");
    command.seconds("--waiting-seconds", limits.waitingTime,
                    "Longest time that an admitted request waits for a worker");
    command.seconds("--stopping-seconds", limits.stoppingTime,
                    "Longest time for what is in flight when the service ends");
    addAccountsOption(command, options->accounts);
    command.runs([options](std::ostream& out, std::ostream& err) { return serve(*options, out, err); });
}

} // namespace tarn::server
