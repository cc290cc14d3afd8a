// SPDX-License-Identifier: Apache-2.0
// The open connections: whose turn it is on each, and which of them must end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>
#include <unordered_set>

namespace tarn::server {

// Its socket is only touched under the mutex of the set that holds it, so never after it closed.
struct Connection {
    using Clock = std::chrono::steady_clock;

    int socket = -1;
    Clock::time_point since = Clock::now(); // when it last began to be the client's turn
    bool ourTurn = false;                   // its request is here and not answered yet
    bool inRequest = false;                 // a header has come, and its answer has not left
    bool hasAsked = false;
    bool ending = false; // shut down here; the HTTP library has not noticed yet
};

class Connections {
  public:
    using Clock = Connection::Clock;

    // maxConnections: at once; turnTime: to send a request, and to take its answer.
    Connections(size_t maxConnections, std::chrono::milliseconds turnTime)
        : maxConnections_(maxConnections), turnTime_(turnTime) {}

    Connection* add(int socket);
    void remove(Connection* connection); // and deletes it
    void beginRequest(Connection& connection);
    void endRequest(Connection& connection);
    void setTurn(Connection& connection, bool ours);
    size_t count() const;

    // Calls endSlow() many times a second, on a thread of its own, until stopHousekeeping().
    void startHousekeeping();
    void stopHousekeeping();
    // Ends the connections whose client has had its time. When places are short, also those that have been silent the
    // longest, so that connections which say nothing cannot keep others out.
    void endSlow();
    // Returns when no connection owes an answer or may still bring a request, at `end` at the latest.
    void waitForWhatIsOwed(Clock::time_point end) const;

  private:
    bool anyOwed() const;
    void endLongestSilent(Clock::time_point now); // under the mutex

    const size_t maxConnections_;
    const std::chrono::milliseconds turnTime_;
    mutable std::mutex mutex_;
    std::unordered_set<Connection*> connections_;

    std::mutex housekeepingMutex_;
    std::condition_variable_any housekeepingWake_;
    std::jthread housekeeper_; // last: it uses what is above
};

} // namespace tarn::server
