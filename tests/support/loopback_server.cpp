// SPDX-License-Identifier: Apache-2.0
#include "support/loopback_server.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kvxtest {

LoopbackServer::LoopbackServer(std::vector<Script> scripts, Family family)
    : scripts_(std::move(scripts)), family_(family), listener_(openListener(family, port_)) {
    thread_ = std::thread([this] { serve(); });
}

LoopbackServer::~LoopbackServer() {
    io_.stop();
    thread_.join();
    close(listener_);
}

std::vector<Bytes> LoopbackServer::requests() {
    const std::lock_guard lock(mutex_);
    return requests_;
}

void LoopbackServer::serve() {
    for (size_t number = 0; io_.waitFor(listener_, POLLIN, -1); ++number) {
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) continue;
        {
            const std::lock_guard lock(mutex_);
            requests_.emplace_back();
        }
        if (number < scripts_.size()) play(connection, scripts_[number]);
        close(connection);
        ++answered_;
    }
}

void LoopbackServer::play(int connection, const Script& script) {
    for (const Step& step : script) {
        switch (step.kind) {
        case Step::Kind::kReceiveRequest:
            receiveWholeRequest(connection);
            break;
        case Step::Kind::kReceiveText:
            receiveText(connection, step.bytes, step.times);
            break;
        case Step::Kind::kSend:
            if (!io_.sendAll(connection, step.bytes)) return;
            break;
        case Step::Kind::kPause:
            io_.waitFor(-1, 0, step.milliseconds);
            break;
        case Step::Kind::kAwaitClose:
            while (receiveSome(connection)) continue;
            break;
        case Step::Kind::kReset:
            resetAtClose(connection);
            return;
        }
    }
    // Bytes that were sent and not read would turn the close into a reset, which can overtake the answer.
    shutdown(connection, SHUT_WR);
    while (receiveSome(connection)) continue;
}

bool LoopbackServer::receiveSome(int connection) {
    Bytes bytes;
    if (!io_.receiveSome(connection, bytes)) return false;
    const std::lock_guard lock(mutex_);
    requests_.back().insert(requests_.back().end(), bytes.begin(), bytes.end());
    return true;
}

void LoopbackServer::receiveWholeRequest(int connection) {
    const auto whole = [this] {
        const std::lock_guard lock(mutex_);
        return isWholeRequest(viewOf(requests_.back()));
    };
    while (!whole() && receiveSome(connection)) continue;
}

void LoopbackServer::receiveText(int connection, std::string_view text, size_t times) {
    const auto enough = [&] {
        const std::lock_guard lock(mutex_);
        const std::string_view all = viewOf(requests_.back());
        size_t found = 0;
        for (size_t at = all.find(text); at != std::string_view::npos; at = all.find(text, at + 1)) ++found;
        return found >= times;
    };
    while (!enough() && receiveSome(connection)) continue;
}

} // namespace kvxtest
