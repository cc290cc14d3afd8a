// SPDX-License-Identifier: Apache-2.0
// An HTTP client made of a socket: it can be slow, rude or wrong as a test wants it.
#pragma once

#include "support/hex.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <netinet/in.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace kvxtest {

struct HttpAnswer {
    int status = 0;
    std::string header; // with the status line
    std::string body;

    bool has(const std::string& line) const { return header.find("\r\n" + line + "\r\n") != std::string::npos; }
};

class RawClient {
  public:
    explicit RawClient(uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            close(socket_);
            socket_ = -1;
        }
    }
    ~RawClient() { hangUp(); }
    RawClient(RawClient&& other) noexcept
        : socket_(std::exchange(other.socket_, -1)), received_(std::move(other.received_)) {}
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;
    RawClient& operator=(RawClient&&) = delete;

    bool connected() const { return socket_ >= 0; }
    void hangUp() {
        if (socket_ >= 0) close(socket_);
        socket_ = -1;
    }
    // Ends the connection with a reset.
    void reset() {
        const linger now = {1, 0};
        setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        hangUp();
    }
    void endSending() { shutdown(socket_, SHUT_WR); }
    // False when the other side has gone.
    bool send(const std::string& bytes) {
        size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) return false;
            sent += static_cast<size_t>(count);
        }
        return true;
    }
    // Whether the other side has ended the connection, without waiting.
    bool ended() {
        char byte = 0;
        const ssize_t count = recv(socket_, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
        return count == 0 || (count < 0 && errno != EAGAIN && errno != EWOULDBLOCK);
    }
    // Reads so many bytes and no more; false when the connection ends before.
    bool readBytes(size_t count) {
        std::string bytes(count, '\0');
        return count == 0 || recv(socket_, bytes.data(), count, MSG_WAITALL) == static_cast<ssize_t>(count);
    }
    // Everything up to the end of the connection.
    std::string readToEnd() {
        while (more()) {
        }
        return std::exchange(received_, {});
    }
    // One answer with its Content-Length; nothing when the connection ends before it is whole.
    std::optional<HttpAnswer> read() {
        size_t headerEnd = 0;
        while ((headerEnd = received_.find("\r\n\r\n")) == std::string::npos) {
            if (!more()) return std::nullopt;
        }
        HttpAnswer answer;
        answer.header = received_.substr(0, headerEnd + 2);
        answer.status = std::atoi(answer.header.c_str() + answer.header.find(' '));
        const size_t at = answer.header.find("Content-Length: ");
        const size_t length = at == std::string::npos ? 0 : std::strtoul(answer.header.c_str() + at + 16, nullptr, 10);
        received_.erase(0, headerEnd + 4);
        while (received_.size() < length) {
            if (!more()) return std::nullopt;
        }
        answer.body = received_.substr(0, length);
        received_.erase(0, length);
        return answer;
    }

  private:
    bool more() {
        char buffer[16384];
        const ssize_t count = recv(socket_, buffer, sizeof buffer, 0);
        if (count <= 0) return false;
        received_.append(buffer, static_cast<size_t>(count));
        return true;
    }

    int socket_;
    std::string received_;
};

inline const std::string kBoundary = "---------------------------265001916915724";

// A form's part.
inline std::string part(const std::string& name, const std::string& bytes) {
    return "--" + kBoundary + "\r\nContent-Disposition: form-data; name=\"" + name +
           "\"\r\nContent-Type: application/octet-stream\r\n\r\n" + bytes + "\r\n";
}

inline std::string formOf(const std::string& parts) { return parts + "--" + kBoundary + "--\r\n"; }

inline std::string postOf(const std::string& form, const std::string& moreHeaders = {},
                          const std::string& type = "multipart/form-data; boundary=" + kBoundary) {
    return "POST /sdkrequest HTTP/1.1\r\nHost: localhost\r\nContent-Type: " + type + "\r\n" + moreHeaders +
           "Content-Length: " + std::to_string(form.size()) + "\r\n\r\n" + form;
}

inline std::string textOf(const kvxtest::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// A packet as the tool posts it.
inline std::string postOf(const kvxtest::Bytes& packet) { return postOf(formOf(part("data", textOf(packet)))); }

inline std::string getOf(const std::string& path) { return "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n"; }

// One request on a connection of its own.
inline HttpAnswer exchange(uint16_t port, const std::string& request) {
    RawClient client(port);
    if (!client.connected() || !client.send(request)) return {};
    return client.read().value_or(HttpAnswer{});
}

} // namespace kvxtest
