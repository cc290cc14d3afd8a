// SPDX-License-Identifier: Apache-2.0
#include "http/http_server.h"

#include "http/access_log.h"
#include "http/catalogue_watch.h"
#include "http/connections.h"
#include "http/endpoints.h"
#include "http/exchange.h"
#include "http/listen_socket.h"
#include "http/metrics.h"
#include "http/page.h"
#include "http/replying.h"
#include "http/request_facts.h"
#include "http/request_framing.h"
#include "json/problem.h"

#include <atomic>
#include <cerrno>
#include <microhttpd.h>
#include <optional>
#include <string_view>
#include <system_error>

namespace tarn::server {

namespace {

using Clock = std::chrono::steady_clock;

// A body above the limit is read to its end and thrown away, so that the client gets to see its 413; one above this is
// cut off.
constexpr uint64_t kMaxDiscardedBytes = 8 * 1024 * 1024;
constexpr size_t kConnectionBytes = 16 * 1024; // header and parsing state of one connection
// How long the start waits for a catalogue that does not answer, before the port opens without it.
constexpr auto kFirstLook = std::chrono::seconds(5);

Connection& connectionOf(MHD_Connection* connection) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return *static_cast<Connection*>(info->socket_context);
}

} // namespace

class HttpServer::Impl : public ServiceView {
  public:
    Impl(const std::string& address, const HttpLimits& limits, Backend backend)
        : limits_(limits), backend_(std::move(backend)), address_(address),
          connections_(limits.connections, limits.requestTime),
          catalogue_(backend_.recogniser, backend_.catalogue, *backend_.log) {}

    void start();
    void stop();
    const std::string& address() const { return address_; }
    uint16_t port() const { return port_; }

    bool isStopping() const override { return stopping_; }
    bool catalogueIsUp() const override { return catalogue_.recordings().has_value(); }
    std::string metricsText() const override;

  private:
    // What the HTTP library calls.
    static MHD_Result onRequest(void* self, MHD_Connection* connection, const char* target, const char* method,
                                const char* version, const char* body, size_t* bodyBytes, void** slot);
    static void onCompleted(void* self, MHD_Connection* connection, void** slot, MHD_RequestTerminationCode how);
    static void onConnection(void* self, MHD_Connection* connection, void** socketContext,
                             MHD_ConnectionNotificationCode what);

    MHD_Result begin(MHD_Connection* connection, const Endpoint* endpoint, std::string_view target,
                     std::string_view method, const char* version, void** slot);
    MHD_Result answer(MHD_Connection* connection, const Endpoint* endpoint, std::string_view target,
                      std::string_view method, Exchange& exchange);
    MHD_Result sendReply(MHD_Connection* connection, Exchange& exchange);
    MHD_Result send(MHD_Connection* connection, const HttpResponse& response);
    void end(MHD_Connection* connection, const Exchange& exchange, bool sent);
    void takeWhatWaits();

    const HttpLimits limits_;
    const Backend backend_;
    Metrics metrics_;
    FileDescriptor listener_;
    std::string address_;
    uint16_t port_ = 0;
    bool servesPage_ = false;
    MHD_Daemon* daemon_ = nullptr;
    Connections connections_;
    CatalogueWatch catalogue_;
    std::optional<Exchanges> exchanges_;
    std::atomic<bool> stopping_ = false;
};

MHD_Result HttpServer::Impl::onRequest(void* self, MHD_Connection* connection, const char* target, const char* method,
                                       const char* version, const char* body, size_t* bodyBytes, void** slot) {
    auto& impl = *static_cast<Impl*>(self);
    try {
        const Endpoint* endpoint = endpointAt(target);
        if (*slot == nullptr) return impl.begin(connection, endpoint, target, method, version, slot);
        auto& exchange = *static_cast<Exchange*>(*slot);
        if (*bodyBytes == 0) return impl.answer(connection, endpoint, target, method, exchange);
        exchange.bodyBytes += *bodyBytes;
        if (exchange.form) exchange.form->add(body, *bodyBytes);
        if (exchange.body) exchange.body->add(body, *bodyBytes);
        *bodyBytes = 0;
        const uint64_t mayBeTaken = exchange.isJson ? impl.limits_.audioBytes : 0;
        return exchange.bodyBytes > mayBeTaken + kMaxDiscardedBytes ? MHD_NO : MHD_YES;
    } catch (const std::exception& error) {
        impl.backend_.log->error("request: {}", error.what());
        return MHD_NO;
    }
}

void HttpServer::Impl::onCompleted(void* self, MHD_Connection* connection, void** slot,
                                   MHD_RequestTerminationCode how) {
    const std::unique_ptr<Exchange> exchange(static_cast<Exchange*>(*slot));
    *slot = nullptr;
    if (exchange == nullptr) return;
    static_cast<Impl*>(self)->end(connection, *exchange, how == MHD_REQUEST_TERMINATED_COMPLETED_OK);
}

void HttpServer::Impl::onConnection(void* self, MHD_Connection* connection, void** socketContext,
                                    MHD_ConnectionNotificationCode what) {
    auto& impl = *static_cast<Impl*>(self);
    if (what == MHD_CONNECTION_NOTIFY_STARTED) {
        const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        *socketContext = impl.connections_.add(info == nullptr ? -1 : info->connect_fd);
    } else {
        impl.connections_.remove(static_cast<Connection*>(*socketContext));
        *socketContext = nullptr;
    }
}

// Once the header is here. A request whose end is in doubt is refused before any of its body is read, and the
// connection ends with it, since the bytes after it may be anything.
MHD_Result HttpServer::Impl::begin(MHD_Connection* connection, const Endpoint* endpoint, std::string_view target,
                                   std::string_view method, const char* version, void** slot) {
    auto& exchange = *std::make_unique<Exchange>().release(); // onCompleted() deletes it
    *slot = &exchange;
    if (endpoint != nullptr && endpoint->takesRequests() && endpoint->allows(method)) {
        if (const auto* operation = std::get_if<JsonOperation>(&endpoint->way)) {
            exchanges_->openJson(exchange, jsonHeaderOf(connection, *operation, target));
        } else {
            exchange.form = std::make_unique<FormBody>(connection, limits_.packetBytes);
        }
        exchange.client = backend_.trustedProxies.clientOf(peerOf(connection), forwardedFor(connection));
    }
    connections_.beginRequest(connectionOf(connection));
    const char* fault = framingFault(connection, version);
    if (fault == nullptr) return MHD_YES;
    Reply refusal = RequestHandler::failure({}, RequestOutcome::kBadPacket, std::string("bad request: ") + fault);
    const bool isOfJson = endpoint != nullptr && endpoint->isOfJson();
    if (isOfJson) refusal = problemOf(std::move(refusal));
    exchange.answer(std::move(refusal));
    exchange.reply.closeConnection = true;
    return sendReply(connection, exchange);
}

// Once the body is here, and again when a worker has answered.
MHD_Result HttpServer::Impl::answer(MHD_Connection* connection, const Endpoint* endpoint, std::string_view target,
                                    std::string_view method, Exchange& exchange) {
    connections_.setTurn(connectionOf(connection), true);
    if (endpoint == nullptr) return send(connection, servesPage_ ? answerPage(connection, target, method) : notFound());
    if (std::holds_alternative<Nothing>(endpoint->way)) return send(connection, notFoundInJson());
    if (!endpoint->allows(method)) return send(connection, methodNotAllowed(*endpoint));
    if (!endpoint->takesRequests()) return send(connection, endpoint->answer(*this));
    if (exchange.stage == Exchange::Stage::kReading && !exchanges_->finishBody(connection, exchange)) return MHD_YES;
    return sendReply(connection, exchange);
}

MHD_Result HttpServer::Impl::sendReply(MHD_Connection* connection, Exchange& exchange) {
    exchange.stage = Exchange::Stage::kReplied;
    return send(connection, responseOf(exchange.reply));
}

MHD_Result HttpServer::Impl::send(MHD_Connection* connection, const HttpResponse& response) {
    connections_.setTurn(connectionOf(connection), false);
    const MHD_Result queued = queueResponse(connection, response, stopping_);
    metrics_.response(response.status);
    return queued;
}

void HttpServer::Impl::end(MHD_Connection* connection, const Exchange& exchange, bool sent) {
    if (exchange.isRequest()) {
        const std::chrono::nanoseconds total = Clock::now() - exchange.start;
        if (exchange.stage == Exchange::Stage::kReplied && sent) {
            metrics_.request(exchange.reply.report, exchange.waiting, total);
            logAnswered(*backend_.log, exchange, total);
        } else {
            metrics_.dropped();
            logDropped(*backend_.log, exchange, total);
        }
    }
    connections_.endRequest(connectionOf(connection));
}

std::string HttpServer::Impl::metricsText() const {
    Gauges gauges;
    gauges.recordings = catalogue_.recordings();
    gauges.accounts = backend_.accountCount();
    gauges.waiting = exchanges_->waiting();
    gauges.connections = connections_.count();
    return metrics_.text(gauges);
}

void HttpServer::Impl::start() {
    catalogue_.start(kFirstLook); // before the port opens: every client that connects can be answered
    listener_ = listenOn(address_);
    address_ = boundAddress(listener_);
    port_ = boundPort(listener_);
    servesPage_ = backend_.page || isOnLoopback(listener_);
    try {
        exchanges_.emplace(backend_.handler, backend_.recogniser, catalogue_, limits_);
    } catch (const std::system_error& error) {
        throw ListenError(std::string("the workers cannot be started: ") + error.what() +
                          "; ask for fewer with --workers, or give the service more memory");
    }
    daemon_ = MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr,
                               &onRequest, this, MHD_OPTION_LISTEN_SOCKET, listener_.get(), MHD_OPTION_CONNECTION_LIMIT,
                               static_cast<unsigned>(limits_.connections), MHD_OPTION_PER_IP_CONNECTION_LIMIT,
                               static_cast<unsigned>(limits_.connectionsPerAddress), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                               kConnectionBytes, MHD_OPTION_NOTIFY_COMPLETED, &onCompleted, this,
                               MHD_OPTION_NOTIFY_CONNECTION, &onConnection, this, MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1,
                               MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_UNESCAPE_CALLBACK, &leaveEscapes, nullptr,
                               MHD_OPTION_END);
    if (daemon_ == nullptr)
        throw ListenError(address_ +
                          ": the HTTP library cannot start; give the service more memory, threads or open files");
    listener_.release(); // the daemon's now
    connections_.startHousekeeping();
}

// The connections that wait in the system's queue are clients too: they get their answer like those that were taken.
void HttpServer::Impl::takeWhatWaits() {
    for (;;) {
        sockaddr_storage peer{};
        socklen_t length = sizeof peer;
        auto* peerAddress = reinterpret_cast<sockaddr*>(&peer);
        const int connection = accept4(listener_.get(), peerAddress, &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (connection >= 0) {
            MHD_add_connection(daemon_, connection, peerAddress, length);
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;
        }
    }
}

void HttpServer::Impl::stop() {
    if (daemon_ == nullptr) return;
    stopping_ = true;
    // Only the daemon's end may close the socket, so that it is shut down first: from here on connections are refused.
    listener_ = FileDescriptor(MHD_quiesce_daemon(daemon_));
    takeWhatWaits();
    if (listener_.isOpen()) shutdown(listener_.get(), SHUT_RDWR);
    connections_.waitForWhatIsOwed(Clock::now() + limits_.stoppingTime);
    exchanges_->stop(); // so that no connection stays suspended
    connections_.stopHousekeeping();
    catalogue_.stop();
    MHD_stop_daemon(daemon_);
    daemon_ = nullptr;
    listener_ = FileDescriptor();
}

HttpServer::HttpServer(const std::string& address, const HttpLimits& limits, Backend backend)
    : impl_(std::make_unique<Impl>(address, limits, std::move(backend))) {
    try {
        impl_->start();
    } catch (...) {
        impl_->stop();
        throw;
    }
}

HttpServer::~HttpServer() { stop(); }

std::string HttpServer::address() const { return impl_->address(); }
uint16_t HttpServer::port() const { return impl_->port(); }
void HttpServer::stop() { impl_->stop(); }

} // namespace tarn::server
