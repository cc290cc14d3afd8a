// SPDX-License-Identifier: Apache-2.0
#include "commands/serve.h"

#include "accounts/account_book.h"
#include "accounts/identity_store.h"
#include "commands/descriptor_stream.h"
#include "commands/end_signal.h"
#include "commands/log_writer.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <ostream>
#include <spdlog/logger.h>
#include <sys/resource.h>
#include <type_traits>
#include <unistd.h>

namespace tarn::server {

namespace {

constexpr auto kOpenAgainAfter = std::chrono::seconds(1);
// For ending when the time for what is in flight is over; then the process ends whatever hangs.
constexpr auto kEnding = std::chrono::seconds(2);

// The catalogue, opened when it can be. The log says when it can be asked, and when it no longer can, and why.
class OpeningRecogniser final : public Recogniser {
  public:
    OpeningRecogniser(const RecogniserFactory& open, const std::string& path, spdlog::logger& log)
        : open_(open), path_(path), log_(log) {}

    std::vector<Match> recognise(const FingerprintQuery& query, size_t most) override {
        return asking([&](Recogniser& catalogue) { return catalogue.recognise(query, most); });
    }
    std::vector<Match> lookUp(const std::string& id, size_t most) override {
        return asking([&](Recogniser& catalogue) { return catalogue.lookUp(id, most); });
    }
    uint64_t recordingCount() override {
        return asking([](Recogniser& catalogue) { return catalogue.recordingCount(); });
    }
    std::optional<uint32_t> candidatesOfLastQuery() override { return opened().candidatesOfLastQuery(); }

  private:
    enum class State { kUnknown, kUp, kDown };

    template <class Work>
    std::invoke_result_t<Work, Recogniser&> asking(Work work) {
        try {
            Recogniser& catalogue = opened();
            auto answer = work(catalogue);
            if (state_ != State::kUp) {
                const uint64_t count = catalogue.recordingCount();
                if (state_.exchange(State::kUp) != State::kUp) {
                    log_.info("catalogue: open, {} recordings in {}", count, path_);
                }
            }
            return answer;
        } catch (const Unavailable& error) {
            if (state_.exchange(State::kDown) != State::kDown) {
                log_.error("catalogue: {}; until {} can be read, every answer is 503", error.what(), path_);
            }
            throw;
        }
    }

    Recogniser& opened() {
        const std::lock_guard lock(mutex_);
        if (recogniser_) return *recogniser_;
        const auto now = std::chrono::steady_clock::now();
        if (now < nextTry_) throw Unavailable("the catalogue is not open");
        nextTry_ = now + kOpenAgainAfter;
        try {
            recogniser_ = open_([this](const std::string& line) { log_.error("catalogue: {}", line); });
        } catch (const std::exception& error) {
            throw Unavailable(error.what());
        }
        return *recogniser_;
    }

    const RecogniserFactory& open_;
    const std::string& path_;
    spdlog::logger& log_;
    std::atomic<State> state_ = State::kUnknown;
    std::mutex mutex_;
    std::unique_ptr<Recogniser> recogniser_;
    std::chrono::steady_clock::time_point nextTry_{};
};

std::shared_ptr<spdlog::logger> makeLog() {
    auto log = std::make_shared<spdlog::logger>("tarn-server", std::make_shared<LogWriter>(STDERR_FILENO));
    log->set_pattern("%Y-%m-%dT%H:%M:%S.%eZ %l %v", spdlog::pattern_time_type::utc);
    return log;
}

// Every connection is a descriptor.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

std::filesystem::path fromEnvironment(const char* name) {
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): before any thread
    return value == nullptr ? "" : value;
}

} // namespace

std::filesystem::path stateDirectory() {
    // A service manager may name several, separated by colons.
    const std::string given = fromEnvironment("STATE_DIRECTORY").string();
    if (!given.empty()) return given.substr(0, given.find(':'));
    const std::filesystem::path state = fromEnvironment("XDG_STATE_HOME");
    return (state.empty() ? fromEnvironment("HOME") / ".local/state" : state) / "tarn-server";
}

std::filesystem::path defaultAccountsFile() { return stateDirectory() / "accounts"; }

int runServe(const ServeOptions& options, const RecogniserFactory& openCatalogue, std::ostream& out,
             std::ostream& err) {
    EndSignal endSignal;
    std::signal(SIGPIPE, SIG_IGN); // a client that goes is a failed write
    raiseDescriptorLimit();

    try {
        const std::shared_ptr<spdlog::logger> log = makeLog();
        endSignal.watch(options.limits.stoppingTime + kEnding,
                        [log] { log->error("something hangs, perhaps the disk of the catalogue: ending without it"); });
        if (options.accounts.has_parent_path()) std::filesystem::create_directories(options.accounts.parent_path());
        AccountBook accounts(options.accounts, [&](const std::string& text) { log->error("accounts: {}", text); });
        IdentityStore identities(options.identities.empty() ? options.accounts.parent_path() / "identities"
                                                            : options.identities);
        try {
            identities.open();
        } catch (const std::exception& error) {
            // It is tried again at each request for an identity; nothing else needs the file.
            log->error("identities: {}; requests for an identity fail until it can be", error.what());
        }
        OpeningRecogniser recogniser(openCatalogue, options.catalog, *log);
        const RequestHandler handler(
            [&](uint32_t id) { return accounts.code(id); },
            [&](uint32_t id, const std::string& presented) { return identities.identityFor(id, presented); },
            recogniser);
        HttpServer server(options.listen, options.limits, {handler, recogniser, [&] { return accounts.size(); }, log});
        out << "listening on " << server.address() << std::endl;
        if (!out) return kOutputLost; // who started the service does not learn its address
        log->info("listening on {}, {} accounts", server.address(), accounts.size());
        const int signal = endSignal.wait();
        log->info("signal {}, finishing what is in flight", signal);
        server.stop();
        log->info("stopped");
        return 0;
    } catch (const std::exception& error) {
        err << error.what() << '\n';
        return 1;
    }
}

} // namespace tarn::server
