// SPDX-License-Identifier: Apache-2.0
// The socket that the service listens on.
#pragma once

#include "base/file_descriptor.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <sys/socket.h>

namespace tarn::server {

class ListenError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// "127.0.0.1:8080", "[::1]:8080", "localhost:8080", ":8080" (every address). Of a name's addresses, the first that this
// machine has. Port 0: the system picks one. Throws ListenError.
FileDescriptor listenOn(const std::string& address);
// What it is bound to, in the same form.
std::string boundAddress(const FileDescriptor& socket);
uint16_t boundPort(const FileDescriptor& socket);
// Whether only programs of this machine reach it.
bool isOnLoopback(const FileDescriptor& socket);
// An address without its port.
std::string addressText(const sockaddr* address);

} // namespace tarn::server
