// SPDX-License-Identifier: Apache-2.0
// A database behind a socket, on this machine.
#pragma once

#include "catalog/catalog.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstdint>
#include <memory>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace kvxtest {

inline uint16_t freePort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    const bool bound = ::bind(socket, generic, length) == 0 && ::getsockname(socket, generic, &length) == 0;
    ::close(socket);
    if (!bound) throw std::runtime_error("no free port");
    return ntohs(address.sin_port);
}

// Serves a database in a session of its own: the server signals its whole process group when it ends.
class DatabaseServer {
  public:
    DatabaseServer(const std::string& database, uint16_t port, bool writable = false) {
        std::vector<std::string> words = {"xapian-tcpsrv",      "--quiet", "--interface", "127.0.0.1", "--port",
                                          std::to_string(port), database};
        if (writable) words.emplace_back("--writable");
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
        const int status = posix_spawnp(&process_, "xapian-tcpsrv", nullptr, &attributes, arguments.data(), environ);
        posix_spawnattr_destroy(&attributes);
        if (status != 0) throw std::runtime_error("xapian-tcpsrv cannot be started");
    }
    ~DatabaseServer() { stop(); }
    DatabaseServer(const DatabaseServer&) = delete;
    DatabaseServer& operator=(const DatabaseServer&) = delete;
    void stop() {
        if (process_ <= 0) return;
        kill(-process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = 0;
    }
    void freeze() { kill(-process_, SIGSTOP); }
    void thaw() { kill(-process_, SIGCONT); }

  private:
    pid_t process_ = 0;
};

// A reader as soon as the servers answer.
inline std::unique_ptr<tarn::server::CatalogReader> openedReader(const std::string& location) {
    for (int tries = 0;; ++tries) {
        try {
            return std::make_unique<tarn::server::CatalogReader>(location);
        } catch (const tarn::server::CatalogUnavailable&) {
            if (tries == 500) throw;
            usleep(20000);
        }
    }
}

} // namespace kvxtest
