// SPDX-License-Identifier: Apache-2.0
#include "commands/serve.h"

#include "accounts/account_book.h"
#include "accounts/account_file.h"
#include "accounts/identity_store.h"
#include "base/descriptor_stream.h"
#include "base/text.h"
#include "catalogue/store.h"
#include "commands/service_log.h"
#include "http/http_server.h"
#include "http/page_files.h"
#include "kvx.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ostream>
#include <spdlog/logger.h>
#include <stdexcept>
#include <sys/resource.h>
#include <unistd.h>

namespace tarn::server {

namespace {

// For ending when the time for what is in flight is over; then the process ends whatever hangs.
constexpr auto kEnding = std::chrono::seconds(2);

// Every connection is a descriptor.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace

ServiceSetup::ServiceSetup()
    : toJournal(isJournal(STDERR_FILENO, std::getenv("JOURNAL_STREAM"))),
      log(makeServiceLog(STDERR_FILENO, toJournal)) {
    std::signal(SIGPIPE, SIG_IGN); // a client that goes is a failed write
    raiseDescriptorLimit();
}

int runServe(const ServeOptions& options, ServiceSetup& setup, Recogniser& recogniser, std::ostream& out,
             std::ostream& err) {
    const std::shared_ptr<spdlog::logger> log = setup.log;
    const std::string catalogue = shownLocation(options.catalogue);
    log->info("tarn-server {}, catalogue {}, accounts {}", KVX_VERSION, catalogue, options.accounts.string());
    try {
        if (options.page && pageFiles().empty()) {
            throw std::runtime_error("this tarn-server was built without the page, since no compiler for WebAssembly "
                                     "was found or TARN_BUILD_WEB is off; leave --page out, or build it with "
                                     "-DTARN_BUILD_WEB=ON (scripts/install-dependencies web)");
        }
        setup.endSignal.watch(options.limits.stoppingTime + kEnding, [log] {
            log->error("something hangs, perhaps the disk of the catalogue; the service ends without waiting for it");
        });
        makeFolderOf(options.accounts);
        AccountBook accounts(options.accounts, [&](const std::string& text) { log->error("accounts: {}", text); });
        IdentityStore identities(options.identities.empty() ? options.accounts.parent_path() / "identities"
                                                            : options.identities);
        try {
            identities.open();
        } catch (const std::exception& error) {
            // It is tried again at each request for an identity; nothing else needs the file.
            log->error("identities: {}; until that is mended, requests for an identity are answered with 500",
                       error.what());
        }
        const RequestHandler handler(
            [&](uint32_t id) { return accounts.code(id); },
            [&](uint32_t id, const std::string& presented) { return identities.identityFor(id, presented); },
            recogniser);
        HttpServer server(options.listen, options.limits,
                          {handler, recogniser, catalogue, [&] { return accounts.size(); }, log,
                           TrustedProxies(options.trustedProxies), options.page});
        out << "listening on " << server.address() << std::endl;
        if (!out) return kOutputLost; // who started the service does not learn its address
        log->info("listening on {} (--listen {}), {}", server.address(), options.listen,
                  counted(accounts.size(), "account"));
        const int signal = setup.endSignal.wait();
        log->info("signal {}, finishing what is in flight", signal);
        server.stop();
        log->info("stopped");
        return 0;
    } catch (const std::exception& error) {
        log->flush(); // the lines before come before
        err << errorPrefix(setup.toJournal) << error.what() << '\n';
        return 1;
    }
}

} // namespace tarn::server
