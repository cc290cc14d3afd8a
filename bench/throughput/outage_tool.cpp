// SPDX-License-Identifier: Apache-2.0
// What a running service answers while something happens to its cluster.
//
//   outage_tool PORT CODE REAL COUNT SECONDS COMMAND
//
// Asks the service for known excerpts, one after the other, and runs COMMAND with the shell a fifth of SECONDS after it
// has begun. CODE, REAL, COUNT: as throughput_tool takes them. Prints what became of the requests of each span of time
// after COMMAND had begun: how many got the answer that they got before, 503, or anything else.
#include "prepared_requests.h"
#include "support/raw_client.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace kvxtest;
using namespace tarn::bench;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

namespace {

struct Asked {
    double begin; // ms after COMMAND
    double took;
    int status; // 0: no answer
    bool same;
};

struct Span {
    const char* name;
    double begin;
    double end;
};

void print(const Span& span, const std::vector<Asked>& asked) {
    size_t same = 0;
    size_t unavailable = 0;
    std::vector<double> times;
    for (const Asked& each : asked) {
        if (each.begin + each.took < span.begin || each.begin + each.took >= span.end) continue;
        times.push_back(each.took);
        same += each.same ? 1 : 0;
        unavailable += each.status == 503 ? 1 : 0;
    }
    if (times.empty()) return;
    std::sort(times.begin(), times.end());
    std::printf("%s: %zu answers, %.1f %% as before, %zu with 503, %zu others; ms p50 %.1f p99 %.1f most %.1f\n",
                span.name, times.size(), 100.0 * static_cast<double>(same) / static_cast<double>(times.size()),
                unavailable, times.size() - same - unavailable, times[times.size() / 2], times[times.size() * 99 / 100],
                times.back());
}

std::vector<Asked> askThrough(uint16_t port, const std::vector<Prepared>& requests, double seconds,
                              const std::string& command) {
    const auto before = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds / 5));
    const Clock::time_point at = Clock::now() + before;
    int status = 0;
    std::jthread acting([&] {
        std::this_thread::sleep_until(at);
        status = std::system(command.c_str());
    });
    std::vector<Asked> asked;
    std::unique_ptr<RawClient> client;
    for (size_t i = 0; Clock::now() < at + 4 * before; ++i) {
        const Prepared& one = requests[i % requests.size()];
        if (!one.asExpected) continue;
        const auto begin = Clock::now();
        if (client == nullptr) client = std::make_unique<RawClient>(port);
        const bool sent = client->connected() && client->send(one.request);
        const HttpAnswer answer = sent ? client->read().value_or(HttpAnswer{}) : HttpAnswer{};
        asked.push_back({Milliseconds(begin - at).count(), Milliseconds(Clock::now() - begin).count(), answer.status,
                         answer.status == 200 && answer.body == one.answer});
        if (answer.status != 200) client.reset();
    }
    acting.join();
    if (status != 0) throw std::runtime_error("the command failed");
    return asked;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() != 6) {
        std::cerr << "outage_tool PORT CODE REAL COUNT SECONDS COMMAND\n";
        return 2;
    }
    try {
        const auto port = static_cast<uint16_t>(std::stoul(words[0]));
        const auto count = static_cast<uint32_t>(std::stoul(words[3]));
        const std::vector<Prepared> requests = prepare(SyntheticMusic(words[2]), port, words[1], count, true);
        const std::vector<Asked> asked = askThrough(port, requests, std::stod(words[4]), words[5]);
        constexpr double kEnd = 1e12;
        for (const Span& span :
             {Span{"before", -kEnd, 0}, Span{"0 to 150 ms", 0, 150}, Span{"150 to 500 ms", 150, 500},
              Span{"0.5 to 2 s", 500, 2000}, Span{"2 to 5 s", 2000, 5000}, Span{"from 5 s", 5000, kEnd}}) {
            print(span, asked);
        }
        const auto late = std::max_element(asked.begin(), asked.end(),
                                           [](const Asked& a, const Asked& b) { return a.took < b.took; });
        if (late != asked.end())
            std::printf("the latest answer was asked for at %.0f ms and took %.0f ms\n", late->begin, late->took);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
