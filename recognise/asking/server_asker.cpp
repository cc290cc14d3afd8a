// SPDX-License-Identifier: Apache-2.0
#include "recognise/asking/server_asker.h"

#include "base/text.h"
#include "coding/query_coder.h"
#include "protocol/match_place.h"
#include "recognise/asking/answer_records.h"
#include "recognise/asking/device_identity.h"

#include <algorithm>
#include <new>
#include <optional>
#include <thread>

namespace tarn::recognise {

namespace {

constexpr auto kFirstPause = std::chrono::milliseconds(500); // doubles with each retry
constexpr auto kMaxPause = std::chrono::milliseconds(60'000);

server::LibraryHandle makeHandle(const std::string& accessCode) {
    const std::string device = deviceIdentity();
    KVXHandle* handle = nullptr;
    if (KVXInit(&handle, accessCode.c_str(), reinterpret_cast<const uint8_t*>(device.data()),
                static_cast<int16_t>(device.size()), nullptr, 0, 'B', 'B', 'R', nullptr, 0) != 0) {
        throw std::invalid_argument("the access code names a method of signing that does not exist; ask the server's "
                                    "operator for a new one");
    }
    return server::LibraryHandle(handle);
}

// Another try may succeed.
bool isPassing(int status) { return status == 429 || status == 500 || status == 502 || status == 503 || status == 504; }

std::string failureText(const HttpReply& reply) {
    std::string text = "the server answers with status " + std::to_string(reply.status);
    const std::string said = server::cleanText(reply.body.substr(0, 200));
    return said.empty() ? text : text + ": " + said;
}

} // namespace

ServerAsker::ServerAsker(const ServerOptions& options, Pause pause)
    : options_(options), pause_(std::move(pause)), handle_(makeHandle(options.accessCode)),
      post_(options.url, options.http) {
    if (!pause_) pause_ = [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); };
}

HttpReply ServerAsker::sendPatiently(std::span<const uint8_t> packet) {
    auto pause = kFirstPause;
    for (unsigned tried = 0;; ++tried) {
        std::chrono::milliseconds wait = pause;
        try {
            HttpReply reply = post_.send(packet);
            // Even "nothing found" is a record. A connection that ends within the head looks like this.
            if (reply.status == 200 && reply.body.empty()) throw TransportError("its answer is cut off");
            if (!isPassing(reply.status) || tried == options_.retries) return reply;
            if (reply.retryAfter) wait = std::max<std::chrono::milliseconds>(wait, *reply.retryAfter);
        } catch (const TransportError& error) {
            if (tried == options_.retries) throw NoAnswer(std::string("the server does not answer: ") + error.what());
        }
        pause_(std::min(wait, kMaxPause));
        pause = std::min(2 * pause, kMaxPause);
    }
}

Answer ServerAsker::ask(std::span<const int16_t> samples) {
    if (!server::codeSamples(handle_.get(), samples, server::durationMsOf(samples))) return {};
    uint8_t* buffer = nullptr;
    uint32_t length = 0;
    if (KVXGenerateFingerprintRequest3(handle_.get(), nullptr, 0, nullptr, kMaxMatches, 0, &buffer, &length) != 0) {
        throw std::bad_alloc();
    }
    const auto release = [](uint8_t* request) { KVXFreeFingerprintRequest3(&request); };
    const std::unique_ptr<uint8_t, decltype(release)> packet(buffer, release);
    const HttpReply reply = sendPatiently({packet.get(), length});
    if (reply.status == 403) {
        throw Refused("the server refuses the access code; ask its operator whether the account exists");
    }
    if (reply.status != 200) throw NoAnswer(failureText(reply));
    return readAnswer(handle_.get(), reply.body, server::readMatchHeader(reply.match));
}

} // namespace tarn::recognise
