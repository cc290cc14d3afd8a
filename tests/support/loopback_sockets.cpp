// SPDX-License-Identifier: Apache-2.0
#include "support/loopback_sockets.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace kvxtest {
namespace {

constexpr std::string_view kContentLength = "Content-Length: ";

[[noreturn]] void fail(const char* what) { throw std::runtime_error(std::string(what) + ": " + std::strerror(errno)); }

} // namespace

int openListener(AddressFamily family, int& port) {
    const bool six = family == AddressFamily::kIPv6;
    sockaddr_storage storage{};
    auto* address = reinterpret_cast<sockaddr*>(&storage);
    socklen_t length = 0;
    if (six) {
        auto* in = reinterpret_cast<sockaddr_in6*>(&storage);
        in->sin6_family = AF_INET6;
        in->sin6_addr = in6addr_loopback;
        length = sizeof *in;
    } else {
        auto* in = reinterpret_cast<sockaddr_in*>(&storage);
        in->sin_family = AF_INET;
        in->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        length = sizeof *in;
    }
    const int listener = socket(six ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0) fail("socket");
    if (bind(listener, address, length) != 0 || listen(listener, 16) != 0) fail("bind");
    if (getsockname(listener, address, &length) != 0) fail("getsockname");
    port = ntohs(six ? reinterpret_cast<sockaddr_in6*>(&storage)->sin6_port
                     : reinterpret_cast<sockaddr_in*>(&storage)->sin_port);
    return listener;
}

int connectToLoopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connection < 0) fail("socket");
    if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fail("connect");
    return connection;
}

std::string hostText(AddressFamily family, int port) {
    return (family == AddressFamily::kIPv6 ? "[::1]:" : "127.0.0.1:") + std::to_string(port);
}

bool localhostResolves() {
    addrinfo* found = nullptr;
    if (getaddrinfo("localhost", nullptr, nullptr, &found) != 0) return false;
    freeaddrinfo(found);
    return true;
}

void resetAtClose(int connection) {
    const linger now = {1, 0};
    setsockopt(connection, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

StoppableIo::StoppableIo() {
    if (pipe2(ends_.data(), O_CLOEXEC) != 0) fail("pipe");
}

StoppableIo::~StoppableIo() {
    stop();
    close(ends_[0]);
}

void StoppableIo::stop() {
    if (const int end = std::exchange(ends_[1], -1); end >= 0) close(end);
}

bool StoppableIo::waitFor(int descriptor, short events, int timeoutMs) const {
    std::array<pollfd, 2> waits = {pollfd{descriptor, events, 0}, pollfd{ends_[0], POLLIN, 0}};
    return poll(waits.data(), waits.size(), timeoutMs) > 0 && waits[1].revents == 0;
}

bool StoppableIo::receiveSome(int connection, Bytes& bytes, size_t limit) const {
    std::array<uint8_t, kReadSizeBytes> buffer{};
    if (!waitFor(connection, POLLIN, kPatienceMs)) return false;
    const ssize_t count = recv(connection, buffer.data(), std::min(limit, buffer.size()), 0);
    if (count <= 0) return false;
    bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + count);
    return true;
}

void StoppableIo::awaitClose(int connection) const {
    Bytes forgotten;
    while (receiveSome(connection, forgotten)) forgotten.clear();
}

bool StoppableIo::sendAll(int connection, std::string_view bytes) const {
    while (!bytes.empty()) {
        if (!waitFor(connection, POLLOUT, kPatienceMs)) return false;
        const ssize_t count = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno != EAGAIN) return false;
        if (count > 0) bytes.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

size_t headEnd(std::string_view bytes) {
    const size_t blankLine = bytes.find("\r\n\r\n");
    return blankLine == std::string_view::npos ? blankLine : blankLine + 4;
}

bool isWholeRequest(std::string_view bytes) {
    const size_t bodyBegin = headEnd(bytes);
    if (bodyBegin == std::string_view::npos) return false;
    const std::string_view head = bytes.substr(0, bodyBegin);
    size_t announced = 0;
    if (const size_t field = head.find(kContentLength); field != std::string_view::npos) {
        std::from_chars(head.data() + field + kContentLength.size(), head.data() + head.size(), announced);
    }
    return bytes.size() - bodyBegin >= announced;
}

} // namespace kvxtest
