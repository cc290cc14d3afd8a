// SPDX-License-Identifier: Apache-2.0
// The open connections: whose turn it is on each, and which of them must end.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <unordered_set>

namespace tarn::server {

class Clients {
  public:
    using Clock = std::chrono::steady_clock;

    // One connection. Its socket is only touched under the mutex of the set that holds it, so never after it closed.
    struct Client {
        int socket = -1;
        Clock::time_point since = Clock::now(); // when it last began to be the client's turn
        bool ourTurn = false;                   // its request is here and not answered yet
        bool inRequest = false;                 // a header has come, and its answer has not left
        bool hasAsked = false;
        bool ending = false; // shut down here; the HTTP library has not noticed yet
    };

    // most: connections at once; turnTime: to send a request, and to take its answer.
    Clients(size_t most, std::chrono::milliseconds turnTime) : most_(most), turnTime_(turnTime) {}

    Client* add(int socket);
    void remove(Client* client); // and deletes it
    void beginRequest(Client& client);
    void endRequest(Client& client);
    void setTurn(Client& client, bool ours);
    size_t count() const;

    // Ends the connections whose client has had its time. When places are short, also those that have been silent the
    // longest, so that connections which say nothing cannot keep others out.
    void endSlow();
    // Whether a connection still may bring a request or owes an answer: one has begun, its bytes lie there unread, or
    // the connection is younger than the time given and has not asked yet.
    bool anyOwed(std::chrono::milliseconds youngerThan) const;

  private:
    void endLongestSilent(Clock::time_point now); // under the mutex

    const size_t most_;
    const std::chrono::milliseconds turnTime_;
    mutable std::mutex mutex_;
    std::unordered_set<Client*> clients_;
};

} // namespace tarn::server
