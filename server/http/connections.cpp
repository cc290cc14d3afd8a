// SPDX-License-Identifier: Apache-2.0
#include "http/connections.h"

#include <algorithm>
#include <memory>
#include <sys/socket.h>
#include <vector>

namespace tarn::server {

namespace {

// When less than this share of the places is free, places are short.
constexpr size_t kFreeShare = 8;
// The time that a client has to begin even then; one with a good line needs a fraction of it.
constexpr auto kMinTime = std::chrono::milliseconds(250);
constexpr auto kHousekeeping = std::chrono::milliseconds(100);
// How long a connection that has not asked yet may still do so when the service ends.
constexpr auto kToAsk = std::chrono::milliseconds(500);
constexpr auto kLookAgain = std::chrono::milliseconds(5);

// What can be read: a number of bytes up to 1, 0 at the end, below 0 where there is nothing yet.
ssize_t peek(int socket) {
    char byte = 0;
    return recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
}

} // namespace

Connection* Connections::add(int socket) {
    auto connection = std::make_unique<Connection>();
    connection->socket = socket;
    const std::lock_guard lock(mutex_);
    connections_.insert(connection.get());
    return connection.release();
}

void Connections::remove(Connection* connection) {
    const std::unique_ptr<Connection> owned(connection);
    const std::lock_guard lock(mutex_);
    connections_.erase(connection);
}

void Connections::beginRequest(Connection& connection) {
    const std::lock_guard lock(mutex_);
    connection.inRequest = true;
    connection.hasAsked = true;
}

void Connections::endRequest(Connection& connection) {
    const std::lock_guard lock(mutex_);
    connection.inRequest = false;
    connection.ourTurn = false;
    connection.since = Clock::now();
}

void Connections::setTurn(Connection& connection, bool ours) {
    const std::lock_guard lock(mutex_);
    connection.ourTurn = ours;
    connection.since = Clock::now();
}

size_t Connections::count() const {
    const std::lock_guard lock(mutex_);
    return connections_.size();
}

// A client that sends its request, or takes its answer, byte by byte is always active, so time-outs of inactivity never
// catch it. One that goes in the middle of its request may not be noticed by the HTTP library, which waits for a change
// and has seen the last one: ending the reading side makes another.
void Connections::endSlow() {
    const Clock::time_point now = Clock::now();
    const std::lock_guard lock(mutex_);
    for (Connection* connection : connections_) {
        if (connection->ourTurn || connection->ending) continue;
        if (connection->since < now - turnTime_) {
            shutdown(connection->socket, SHUT_RDWR);
            connection->ending = true;
        } else if (peek(connection->socket) == 0) {
            shutdown(connection->socket, SHUT_RD);
        }
    }
    endLongestSilent(now);
}

void Connections::endLongestSilent(Clock::time_point now) {
    const size_t keep = maxConnections_ - std::max<size_t>(1, maxConnections_ / kFreeShare);
    std::vector<Connection*> silent;
    size_t staying = 0;
    for (Connection* connection : connections_) {
        if (connection->ending) continue;
        ++staying;
        if (!connection->ourTurn && connection->since < now - kMinTime) silent.push_back(connection);
    }
    if (staying <= keep) return;
    const size_t tooMany = std::min(staying - keep, silent.size());
    const auto end = silent.begin() + static_cast<ptrdiff_t>(tooMany);
    std::partial_sort(silent.begin(), end, silent.end(), [](const Connection* a, const Connection* b) {
        return a->inRequest != b->inRequest ? b->inRequest : a->since < b->since;
    });
    std::for_each(silent.begin(), end, [](Connection* connection) {
        shutdown(connection->socket, SHUT_RDWR);
        connection->ending = true;
    });
}

void Connections::startHousekeeping() {
    housekeeper_ = std::jthread([this](const std::stop_token& token) {
        while (!token.stop_requested()) {
            endSlow();
            std::unique_lock lock(housekeepingMutex_);
            housekeepingWake_.wait_for(lock, token, kHousekeeping, [] { return false; });
        }
    });
}

void Connections::stopHousekeeping() { housekeeper_ = {}; }

// A request has begun, its bytes lie there unread, or the connection is young and has not asked yet.
bool Connections::anyOwed() const {
    const Clock::time_point young = Clock::now() - kToAsk;
    const std::lock_guard lock(mutex_);
    return std::any_of(connections_.begin(), connections_.end(), [&](const Connection* connection) {
        if (connection->ending) return false;
        return connection->inRequest || (!connection->hasAsked && connection->since > young) ||
               peek(connection->socket) > 0;
    });
}

void Connections::waitForWhatIsOwed(Clock::time_point end) const {
    while (Clock::now() < end && anyOwed()) std::this_thread::sleep_for(kLookAgain);
}

} // namespace tarn::server
