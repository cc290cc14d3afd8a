#include "support/loopback_server.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace kvxtest {
namespace {

// Longer than anything a test waits for.
constexpr int kPatienceMs = 30000;
constexpr std::string_view kContentLength = "Content-Length: ";

[[noreturn]] void fail(const char* what) { throw std::runtime_error(std::string(what) + ": " + std::strerror(errno)); }

int openListener(LoopbackServer::Family family, int& port) {
    const bool six = family == LoopbackServer::Family::kIPv6;
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

void resetConnection(int connection) {
    const linger now = {1, 0};
    setsockopt(connection, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

} // namespace

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

LoopbackServer::LoopbackServer(std::vector<Script> scripts, Family family)
    : scripts_(std::move(scripts)), family_(family), listener_(openListener(family, port_)) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) fail("pipe");
    stopRead_ = ends[0];
    stopWrite_ = ends[1];
    thread_ = std::thread([this] { serve(); });
}

LoopbackServer::~LoopbackServer() {
    close(stopWrite_);
    thread_.join();
    close(stopRead_);
    close(listener_);
}

std::string LoopbackServer::host() const {
    return (family_ == Family::kIPv6 ? "[::1]:" : "127.0.0.1:") + std::to_string(port_);
}

std::vector<Bytes> LoopbackServer::requests() {
    const std::lock_guard lock(mutex_);
    return requests_;
}

void LoopbackServer::serve() {
    for (size_t number = 0; waitFor(listener_, POLLIN, -1); ++number) {
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
        case Step::Kind::kSend:
            for (size_t sent = 0; sent < step.bytes.size();) {
                if (!waitFor(connection, POLLOUT, kPatienceMs)) return;
                const ssize_t count =
                    ::send(connection, step.bytes.data() + sent, step.bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
                if (count < 0 && errno != EAGAIN) return;
                if (count > 0) sent += static_cast<size_t>(count);
            }
            break;
        case Step::Kind::kPause:
            waitFor(-1, 0, step.milliseconds);
            break;
        case Step::Kind::kAwaitClose:
            while (receiveSome(connection)) continue;
            break;
        case Step::Kind::kReset:
            resetConnection(connection);
            return;
        }
    }
    // Bytes that were sent and not read would turn the close into a reset, which can overtake the answer.
    shutdown(connection, SHUT_WR);
    while (receiveSome(connection)) continue;
}

bool LoopbackServer::receiveSome(int connection) {
    std::array<uint8_t, 4096> buffer{};
    if (!waitFor(connection, POLLIN, kPatienceMs)) return false;
    const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
    if (count <= 0) return false;
    const std::lock_guard lock(mutex_);
    requests_.back().insert(requests_.back().end(), buffer.begin(), buffer.begin() + count);
    return true;
}

void LoopbackServer::receiveWholeRequest(int connection) {
    const auto whole = [this] {
        const std::lock_guard lock(mutex_);
        const Bytes& bytes = requests_.back();
        return isWholeRequest({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    };
    while (!whole() && receiveSome(connection)) continue;
}

bool LoopbackServer::waitFor(int descriptor, short events, int timeoutMs) const {
    std::array<pollfd, 2> waits = {pollfd{descriptor, events, 0}, pollfd{stopRead_, POLLIN, 0}};
    return poll(waits.data(), waits.size(), timeoutMs) > 0 && waits[1].revents == 0;
}

} // namespace kvxtest
