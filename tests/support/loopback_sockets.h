// SPDX-License-Identifier: Apache-2.0
// Sockets on this machine alone, for servers that tests write themselves.
#pragma once

#include "support/hex.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace kvxtest {

// Longer than anything a test waits for.
inline constexpr int kPatienceMs = 30'000;

enum class AddressFamily { kIPv4, kIPv6 };

// A socket that listens on a port of the system's choice.
int openListener(AddressFamily family, int& port);
// A connection to 127.0.0.1; throws where nobody listens.
int connectToLoopback(int port);
// "127.0.0.1:4711" or "[::1]:4711"
std::string hostText(AddressFamily family, int port);
// Whether this machine knows the name localhost; a bare system tree has no file that says so.
bool localhostResolves();
inline constexpr const char* kLocalhostIsMissing =
    "the name localhost does not resolve here: add the line \"127.0.0.1 localhost\" to /etc/hosts";
// The connection's close will be a reset.
void resetAtClose(int connection);

// What a serving thread does with its sockets. Whatever waits here ends once stop() has been called, by any thread.
class StoppableIo {
  public:
    StoppableIo();
    ~StoppableIo();
    StoppableIo(const StoppableIo&) = delete;
    StoppableIo& operator=(const StoppableIo&) = delete;

    void stop();
    // events: as poll takes them. timeoutMs: negative for no limit. A negative descriptor is never ready.
    bool waitFor(int descriptor, short events, int timeoutMs) const;
    // Appends what comes, at most limit bytes; false at the end of the connection, or of patience.
    bool receiveSome(int connection, Bytes& bytes, size_t limit = kReadSizeBytes) const;
    // Reads and forgets until the other side ends the connection.
    void awaitClose(int connection) const;
    // False when the other side has gone.
    bool sendAll(int connection, std::string_view bytes) const;

  private:
    static constexpr size_t kReadSizeBytes = 4096;
    std::array<int, 2> ends_{-1, -1}; // of a pipe: the first is readable once all is to end
};

// The position after a request's head; npos while the head is incomplete.
size_t headEnd(std::string_view bytes);
// True when bytes hold a head and as much body as it announces.
bool isWholeRequest(std::string_view bytes);

inline std::string_view viewOf(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace kvxtest
