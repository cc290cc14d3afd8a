// SPDX-License-Identifier: Apache-2.0
// A proxy on this machine that stands between a client and a server and does harm to what passes.
#pragma once

#include "support/loopback_sockets.h"

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

namespace kvxtest {

struct Fault {
    enum class Kind {
        kNone,
        // Of the answer, position bytes arrive, and then:
        kCloseAnswer,
        kResetAnswer,
        kStallAnswer, // a pause, and the rest
        // The whole answer arrives:
        kSingleBytes, // a byte at a time
        kTwice,
        // Of the request, position bytes are read, and then the client's connection ends:
        kCloseRequest, // the client may go on sending
        kResetRequest,
    };
    Kind kind = Kind::kNone;
    size_t position = 0;
};

// Stores and forwards: a whole request, then the whole answer, up to the end of the server's connection. So a fault's
// position is exact, and nothing depends on how fast either side is.
class FaultProxy {
  public:
    // One fault per connection, in the order in which they are opened; further connections pass unharmed.
    FaultProxy(int serverPort, std::vector<Fault> faults);
    ~FaultProxy();
    FaultProxy(const FaultProxy&) = delete;
    FaultProxy& operator=(const FaultProxy&) = delete;

    std::string host() const { return hostText(AddressFamily::kIPv4, port_); }
    size_t connections() const { return connections_; }

  private:
    void serve();
    void pass(int client, const Fault& fault) const;
    Bytes answerTo(const Bytes& request) const;
    void deliver(int client, std::string_view answer, const Fault& fault) const;
    void awaitDelivery(int client) const;

    int serverPort_;
    std::vector<Fault> faults_;
    int port_ = 0; // set while the listener is opened
    int listener_;
    StoppableIo io_;
    std::atomic<size_t> connections_ = 0;
    std::thread thread_;
};

} // namespace kvxtest
