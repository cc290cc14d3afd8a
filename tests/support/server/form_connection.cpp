// SPDX-License-Identifier: Apache-2.0
#include "support/server/form_connection.h"

#include <array>
#include <microhttpd.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace kvxtest {
namespace {

// A service without a port. It holds one connection, whose request never ends: its body is announced and never sent.
class FormService {
  public:
    FormService() {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) throw std::runtime_error("no pair of sockets");
        clientEnd_ = ends[0];
        daemon_ =
            MHD_start_daemon(MHD_USE_NO_LISTEN_SOCKET, 0, nullptr, nullptr, &FormService::begin, this, MHD_OPTION_END);
        const std::string head = std::string("POST / HTTP/1.1\r\nHost: here\r\nContent-Length: 1000\r\n") +
                                 "Content-Type: multipart/form-data; boundary=" + kFormBoundary + "\r\n\r\n";
        if (daemon_ == nullptr || write(clientEnd_, head.data(), head.size()) != static_cast<ssize_t>(head.size()) ||
            MHD_add_connection(daemon_, ends[1], nullptr, 0) != MHD_YES) {
            throw std::runtime_error("no service");
        }
        for (int i = 0; i < 100 && connection == nullptr; ++i) MHD_run(daemon_);
        if (connection == nullptr) throw std::runtime_error("no connection");
    }
    ~FormService() {
        MHD_stop_daemon(daemon_);
        close(clientEnd_);
    }
    FormService(const FormService&) = delete;
    FormService& operator=(const FormService&) = delete;

    MHD_Connection* connection = nullptr;

  private:
    static MHD_Result begin(void* self, MHD_Connection* begun, const char*, const char*, const char*, const char*,
                            size_t*, void**) {
        static_cast<FormService*>(self)->connection = begun;
        return MHD_YES;
    }

    int clientEnd_ = -1;
    MHD_Daemon* daemon_ = nullptr;
};

} // namespace

MHD_Connection* formConnection() {
    static FormService service;
    return service.connection;
}

} // namespace kvxtest
