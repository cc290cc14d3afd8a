// SPDX-License-Identifier: Apache-2.0
// A scripted HTTP server on this machine: it does what its script says and keeps what it was sent.
#pragma once

#include "support/hex.h"
#include "support/loopback_sockets.h"

#include <atomic>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace kvxtest {

struct Step {
    enum class Kind {
        kReceiveRequest, // until a head and as much body as it announces are there
        kReceiveText,    // until the connection has sent the bytes so often
        kSend,
        kPause,
        kAwaitClose, // until the client closes
        kReset,      // ends the connection with a reset
    };
    Kind kind;
    std::string bytes = {};
    int milliseconds = 0;
    size_t times = 0;
};

inline Step receiveRequest() { return {Step::Kind::kReceiveRequest}; }
inline Step receiveText(std::string_view bytes, size_t times) {
    return {Step::Kind::kReceiveText, std::string(bytes), 0, times};
}
inline Step send(std::string_view bytes) { return {Step::Kind::kSend, std::string(bytes)}; }
inline Step pauseMs(int milliseconds) { return {Step::Kind::kPause, {}, milliseconds}; }
inline Step awaitClose() { return {Step::Kind::kAwaitClose}; }
inline Step reset() { return {Step::Kind::kReset}; }

// What is done on one connection; it is closed at the end. Most receive the request first.
using Script = std::vector<Step>;

class LoopbackServer {
  public:
    using Family = AddressFamily;

    // One script per connection, in the order in which they are opened; further connections are closed at once.
    explicit LoopbackServer(std::vector<Script> scripts, Family family = Family::kIPv4);
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    int port() const { return port_; }
    std::string host() const { return hostText(family_, port_); }
    // What each connection so far has sent, byte for byte.
    std::vector<Bytes> requests();
    // Connections that are over.
    size_t answered() const { return answered_; }

  private:
    void serve();
    void play(int connection, const Script& script);
    // Appends what comes to the current request; false at the end of the connection or of the server.
    bool receiveSome(int connection);
    void receiveWholeRequest(int connection);
    void receiveText(int connection, std::string_view text, size_t times);

    std::vector<Script> scripts_;
    Family family_;
    int port_ = 0; // set while the listener is opened
    int listener_ = -1;
    StoppableIo io_;
    std::mutex mutex_;
    std::vector<Bytes> requests_;
    std::atomic<size_t> answered_ = 0;
    std::thread thread_;
};

} // namespace kvxtest
