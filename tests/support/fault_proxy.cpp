// SPDX-License-Identifier: Apache-2.0
#include "support/fault_proxy.h"

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace kvxtest {
namespace {

constexpr int kStallMs = 40;

bool harmsTheRequest(const Fault& fault) {
    return fault.kind == Fault::Kind::kCloseRequest || fault.kind == Fault::Kind::kResetRequest;
}

} // namespace

FaultProxy::FaultProxy(int serverPort, std::vector<Fault> faults)
    : serverPort_(serverPort), faults_(std::move(faults)), listener_(openListener(AddressFamily::kIPv4, port_)) {
    thread_ = std::thread([this] { serve(); });
}

FaultProxy::~FaultProxy() {
    io_.stop();
    thread_.join();
    close(listener_);
}

void FaultProxy::serve() {
    while (io_.waitFor(listener_, POLLIN, -1)) {
        const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) continue;
        const int atOnce = 1; // single bytes travel alone
        setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &atOnce, sizeof atOnce);
        const size_t number = connections_++;
        pass(client, number < faults_.size() ? faults_[number] : Fault{});
        close(client);
    }
}

void FaultProxy::pass(int client, const Fault& fault) const {
    Bytes request;
    if (harmsTheRequest(fault)) {
        while (request.size() < fault.position) {
            if (!io_.receiveSome(client, request, fault.position - request.size())) return;
        }
    } else {
        while (!isWholeRequest(viewOf(request))) {
            if (!io_.receiveSome(client, request)) return;
        }
    }
    if (fault.kind == Fault::Kind::kResetRequest) {
        resetAtClose(client);
    } else if (fault.kind == Fault::Kind::kCloseRequest) {
        shutdown(client, SHUT_WR);
        io_.awaitClose(client);
    } else {
        deliver(client, viewOf(answerTo(request)), fault);
    }
}

Bytes FaultProxy::answerTo(const Bytes& request) const {
    const int server = connectToLoopback(serverPort_);
    Bytes answer;
    if (io_.sendAll(server, viewOf(request))) {
        while (io_.receiveSome(server, answer)) continue;
    }
    close(server);
    return answer;
}

void FaultProxy::deliver(int client, std::string_view answer, const Fault& fault) const {
    const std::string_view first = answer.substr(0, fault.position);
    switch (fault.kind) {
    case Fault::Kind::kCloseAnswer:
        io_.sendAll(client, first);
        break;
    case Fault::Kind::kResetAnswer:
        io_.sendAll(client, first);
        awaitDelivery(client); // a reset overtakes what has not been delivered
        resetAtClose(client);
        return;
    case Fault::Kind::kStallAnswer:
        io_.sendAll(client, first);
        io_.waitFor(-1, 0, kStallMs);
        io_.sendAll(client, answer.substr(first.size()));
        break;
    case Fault::Kind::kSingleBytes:
        for (size_t i = 0; i < answer.size(); ++i) io_.sendAll(client, answer.substr(i, 1));
        break;
    case Fault::Kind::kTwice:
        io_.sendAll(client, answer);
        io_.sendAll(client, answer);
        break;
    default:
        io_.sendAll(client, answer);
    }
    shutdown(client, SHUT_WR);
    io_.awaitClose(client);
}

void FaultProxy::awaitDelivery(int client) const {
    for (int undelivered = 1; undelivered > 0;) {
        if (ioctl(client, SIOCOUTQ, &undelivered) != 0) return;
        if (undelivered > 0 && io_.waitFor(-1, 0, 1)) return;
    }
}

} // namespace kvxtest
