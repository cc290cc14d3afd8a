// SPDX-License-Identifier: Apache-2.0
// Measures how many look-ups a second a running service answers.
//
//   throughput_tool PORT CODE REAL COUNT known|unknown keep|fresh CONNECTIONS SECONDS
//
// CODE: access code of an account of the service; REAL and COUNT: what scale_tool made the service's catalogue from.
// keep: each client uses one connection for all its requests; fresh: a new one for each request. The requests are made
// beforehand, and each one's answer is checked once before the clock starts. After that, every answer's status and
// length are compared with the first: an answer that differs, or does not come, is an error.
#include "prepared_requests.h"
#include "support/raw_client.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace kvxtest;
using namespace tarn::bench;
using Clock = std::chrono::steady_clock;

namespace {

struct Counts {
    std::mutex mutex;
    std::vector<double> milliseconds;
    size_t errors = 0;
};

void askUntil(Clock::time_point end, uint16_t port, const std::vector<Prepared>& requests, std::atomic<size_t>& next,
              bool keep, Counts& counts) {
    std::vector<double> times;
    size_t errors = 0;
    std::unique_ptr<RawClient> client;
    while (Clock::now() < end) {
        const Prepared& one = requests[next++ % requests.size()];
        const auto begin = Clock::now();
        if (!keep || client == nullptr) client = std::make_unique<RawClient>(port);
        const bool sent = client->connected() && client->send(one.request);
        const HttpAnswer answer = sent ? client->read().value_or(HttpAnswer{}) : HttpAnswer{};
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
        if (answer.status == 200 && answer.body.size() == one.answer.size()) continue;
        ++errors;
        client.reset();
    }
    const std::lock_guard lock(counts.mutex);
    counts.milliseconds.insert(counts.milliseconds.end(), times.begin(), times.end());
    counts.errors += errors;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() != 8) {
        std::cerr << "throughput_tool PORT CODE REAL COUNT known|unknown keep|fresh CONNECTIONS SECONDS\n";
        return 2;
    }
    try {
        const auto port = static_cast<uint16_t>(std::stoul(words[0]));
        const bool known = words[4] == "known";
        const bool keep = words[5] == "keep";
        const size_t connections = std::stoul(words[6]);
        const std::vector<Prepared> requests =
            prepare(SyntheticMusic(words[2]), port, words[1], static_cast<uint32_t>(std::stoul(words[3])), known);
        Counts counts;
        std::atomic<size_t> next = 0;
        const auto begin = Clock::now();
        {
            std::vector<std::jthread> clients;
            for (size_t i = 0; i < connections; ++i) {
                clients.emplace_back([&] {
                    askUntil(begin + std::chrono::seconds(std::stoul(words[7])), port, requests, next, keep, counts);
                });
            }
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
        std::vector<double>& times = counts.milliseconds;
        std::sort(times.begin(), times.end());
        const size_t asked = times.size();
        std::printf("%s, %s connections, %zu clients: %zu answers in %.1f s, %.0f a second, %zu errors; "
                    "ms p50 %.1f p90 %.1f p99 %.1f\n",
                    words[4].c_str(), words[5].c_str(), connections, asked, seconds,
                    static_cast<double>(asked - counts.errors) / seconds, counts.errors, times[asked / 2],
                    times[asked * 9 / 10], times[asked * 99 / 100]);
        return counts.errors == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
