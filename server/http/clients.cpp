// SPDX-License-Identifier: Apache-2.0
#include "http/clients.h"

#include <algorithm>
#include <memory>
#include <sys/socket.h>
#include <vector>

namespace tarn::server {

namespace {

// When less than this share of the places is free, places are short.
constexpr size_t kFreeShare = 8;
// A client has so long to begin even then: one with a good line needs a fraction of it.
constexpr auto kLeastTime = std::chrono::milliseconds(250);

// What can be read: a number of bytes up to 1, 0 at the end, below 0 where there is nothing yet.
ssize_t peek(int socket) {
    char byte = 0;
    return recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
}

} // namespace

Clients::Client* Clients::add(int socket) {
    auto client = std::make_unique<Client>();
    client->socket = socket;
    const std::lock_guard lock(mutex_);
    clients_.insert(client.get());
    return client.release();
}

void Clients::remove(Client* client) {
    const std::unique_ptr<Client> owned(client);
    const std::lock_guard lock(mutex_);
    clients_.erase(client);
}

void Clients::beginRequest(Client& client) {
    const std::lock_guard lock(mutex_);
    client.inRequest = true;
    client.hasAsked = true;
}

void Clients::endRequest(Client& client) {
    const std::lock_guard lock(mutex_);
    client.inRequest = false;
    client.ourTurn = false;
    client.since = Clock::now();
}

void Clients::setTurn(Client& client, bool ours) {
    const std::lock_guard lock(mutex_);
    client.ourTurn = ours;
    client.since = Clock::now();
}

size_t Clients::count() const {
    const std::lock_guard lock(mutex_);
    return clients_.size();
}

// A client that sends its request, or takes its answer, byte by byte is always active, so time-outs of inactivity never
// catch it. One that goes in the middle of its request may not be noticed by the HTTP library, which waits for a change
// and has seen the last one: ending the reading side makes another.
void Clients::endSlow() {
    const Clock::time_point now = Clock::now();
    const std::lock_guard lock(mutex_);
    for (Client* client : clients_) {
        if (client->ourTurn || client->ending) continue;
        if (client->since < now - turnTime_) {
            shutdown(client->socket, SHUT_RDWR);
            client->ending = true;
        } else if (peek(client->socket) == 0) {
            shutdown(client->socket, SHUT_RD);
        }
    }
    endLongestSilent(now);
}

void Clients::endLongestSilent(Clock::time_point now) {
    const size_t keep = most_ - std::max<size_t>(1, most_ / kFreeShare);
    std::vector<Client*> silent;
    size_t staying = 0;
    for (Client* client : clients_) {
        if (client->ending) continue;
        ++staying;
        if (!client->ourTurn && client->since < now - kLeastTime) silent.push_back(client);
    }
    if (staying <= keep) return;
    const size_t tooMany = std::min(staying - keep, silent.size());
    const auto end = silent.begin() + static_cast<ptrdiff_t>(tooMany);
    std::partial_sort(silent.begin(), end, silent.end(), [](const Client* a, const Client* b) {
        return a->inRequest != b->inRequest ? b->inRequest : a->since < b->since;
    });
    std::for_each(silent.begin(), end, [](Client* client) {
        shutdown(client->socket, SHUT_RDWR);
        client->ending = true;
    });
}

bool Clients::anyOwed(std::chrono::milliseconds youngerThan) const {
    const Clock::time_point young = Clock::now() - youngerThan;
    const std::lock_guard lock(mutex_);
    return std::any_of(clients_.begin(), clients_.end(), [&](const Client* client) {
        if (client->ending) return false;
        return client->inRequest || (!client->hasAsked && client->since > young) || peek(client->socket) > 0;
    });
}

} // namespace tarn::server
