// loopback-server [--requests FOLDER] [--count N] ANSWER [ANSWER...]
// Answers the n-th request with status 200 and the n-th file as body, further ones with the last file. Prints its port
// and keeps each request's bytes as FOLDER/request-n. Ends after N requests (default: one per file), or on SIGTERM.
#include "support/answers.h"
#include "support/loopback_server.h"
#include "support/wav_maker.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Options {
    std::string requestFolder;
    size_t count = 0;
    std::vector<std::string> answers;
};

Options parse(int argumentCount, char** arguments) {
    Options options;
    for (int i = 1; i < argumentCount; ++i) {
        const std::string argument = arguments[i];
        const bool hasValue = i + 1 < argumentCount;
        if (argument == "--requests" && hasValue) {
            options.requestFolder = arguments[++i];
        } else if (argument == "--count" && hasValue) {
            options.count = std::stoul(arguments[++i]);
        } else {
            options.answers.push_back(argument);
        }
    }
    if (options.answers.empty()) throw std::runtime_error("no file to answer with");
    if (options.count == 0) options.count = options.answers.size();
    return options;
}

void run(const Options& options) {
    std::vector<kvxtest::Script> scripts;
    for (size_t i = 0; i < options.count; ++i) {
        const std::string& file = options.answers[std::min(i, options.answers.size() - 1)];
        const std::string answer = kvxtest::httpAnswer(200, kvxtest::readFile(file));
        scripts.push_back({kvxtest::receiveRequest(), kvxtest::send(answer)});
    }
    sigset_t terminate;
    sigemptyset(&terminate);
    sigaddset(&terminate, SIGTERM);
    sigaddset(&terminate, SIGINT);
    sigprocmask(SIG_BLOCK, &terminate, nullptr); // the server's thread inherits this

    kvxtest::LoopbackServer server(std::move(scripts));
    std::printf("%d\n", server.port());
    std::fflush(stdout);
    const timespec moment = {0, 20'000'000};
    while (server.answered() < options.count && sigtimedwait(&terminate, nullptr, &moment) < 0) continue;
    const auto requests = server.requests();
    for (size_t i = 0; i < requests.size() && !options.requestFolder.empty(); ++i) {
        kvxtest::writeFile(options.requestFolder + "/request-" + std::to_string(i + 1), requests[i]);
    }
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        run(parse(argumentCount, arguments));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "loopback-server: %s\n", failure.what());
        return 1;
    }
    return 0;
}
