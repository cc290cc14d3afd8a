// SPDX-License-Identifier: Apache-2.0
#include "http/listen_socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <optional>

namespace tarn::server {

namespace {

struct HostAndPort {
    std::string host; // empty: every address
    std::string port;
};

std::optional<HostAndPort> split(const std::string& address) {
    const size_t colon = address.rfind(':');
    if (colon == std::string::npos) return std::nullopt;
    HostAndPort parts{address.substr(0, colon), address.substr(colon + 1)};
    if (parts.host.size() >= 2 && parts.host.front() == '[' && parts.host.back() == ']') {
        parts.host = parts.host.substr(1, parts.host.size() - 2);
    } else if (parts.host.find(':') != std::string::npos) {
        return std::nullopt; // without brackets the port may begin at any colon
    }
    uint16_t port = 0;
    const char* end = parts.port.data() + parts.port.size();
    const auto read = std::from_chars(parts.port.data(), end, port);
    if (parts.port.empty() || read.ec != std::errc() || read.ptr != end) return std::nullopt;
    return parts;
}

const char* remedyFor(int error) {
    if (error == EADDRINUSE) return "; stop what listens there, or give another port with --listen";
    if (error == EADDRNOTAVAIL) return "; give an address of this machine with --listen";
    if (error == EACCES) return "; give a port above 1023 with --listen, or allow this user the lower ones";
    return "";
}

sockaddr_storage nameOf(const FileDescriptor& socket) {
    sockaddr_storage name{};
    socklen_t length = sizeof name;
    if (getsockname(socket.get(), reinterpret_cast<sockaddr*>(&name), &length) != 0) {
        throw ListenError(std::string("the address of the socket cannot be read: ") + std::strerror(errno));
    }
    return name;
}

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

AddressList resolve(const std::string& address, const HostAndPort& parts) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int status =
        getaddrinfo(parts.host.empty() ? nullptr : parts.host.c_str(), parts.port.c_str(), &hints, &found);
    if (status != 0) {
        const char* reason = status == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(status);
        throw ListenError(address + ": no address of " + parts.host + " is known (" + reason +
                          "); give an address of this machine, as in 127.0.0.1:" + parts.port +
                          " or [::1]:" + parts.port);
    }
    return {found, freeaddrinfo};
}

// Not open: it failed, and errno has the reason.
FileDescriptor tryToListen(const addrinfo& address) {
    FileDescriptor made(socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, address.ai_protocol));
    const int on = 1;
    if (made.isOpen() && setsockopt(made.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
        bind(made.get(), address.ai_addr, address.ai_addrlen) == 0 && listen(made.get(), SOMAXCONN) == 0) {
        return made;
    }
    const int error = errno; // closing may change it
    made = FileDescriptor();
    errno = error;
    return made;
}

} // namespace

FileDescriptor listenOn(const std::string& address) {
    const std::optional<HostAndPort> parts = split(address);
    if (!parts)
        throw ListenError('"' + address + "\" is not an address to listen on; give HOST:PORT, as in 127.0.0.1:8080");
    const AddressList found = resolve(address, *parts);
    int error = EADDRNOTAVAIL;
    for (const addrinfo* candidate = found.get(); candidate != nullptr; candidate = candidate->ai_next) {
        FileDescriptor socket = tryToListen(*candidate);
        if (socket.isOpen()) return socket;
        error = errno;
        // A name may have an address of a family that this machine does not use. Any other failure is the answer: the
        // service must not move to another address because the port of the first one is taken.
        if (error != EADDRNOTAVAIL && error != EAFNOSUPPORT) break;
    }
    throw ListenError(address + ": cannot listen: " + std::strerror(error) + remedyFor(error));
}

uint16_t boundPort(const FileDescriptor& socket) {
    const sockaddr_storage name = nameOf(socket);
    return ntohs(name.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(name).sin6_port
                                            : reinterpret_cast<const sockaddr_in&>(name).sin_port);
}

std::string boundAddress(const FileDescriptor& socket) {
    const sockaddr_storage name = nameOf(socket);
    const std::string host = addressText(reinterpret_cast<const sockaddr*>(&name));
    return (name.ss_family == AF_INET6 ? "[" + host + "]" : host) + ":" + std::to_string(boundPort(socket));
}

bool isOnLoopback(const FileDescriptor& socket) {
    const sockaddr_storage name = nameOf(socket);
    if (name.ss_family == AF_INET6) {
        return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6&>(name).sin6_addr);
    }
    constexpr uint32_t kLoopbackNet = 127; // 127.0.0.0/8
    return ntohl(reinterpret_cast<const sockaddr_in&>(name).sin_addr.s_addr) >> 24 == kLoopbackNet;
}

std::string addressText(const sockaddr* address) {
    char text[INET6_ADDRSTRLEN] = "?";
    if (address != nullptr && address->sa_family == AF_INET6) {
        inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, text, sizeof text);
    } else if (address != nullptr && address->sa_family == AF_INET) {
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
    }
    return text;
}

} // namespace tarn::server
