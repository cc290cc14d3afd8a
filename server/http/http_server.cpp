// SPDX-License-Identifier: Apache-2.0
#include "http/http_server.h"

#include "http/catalogue_watch.h"
#include "http/clients.h"
#include "http/form_body.h"
#include "http/listen_socket.h"
#include "http/request_framing.h"
#include "http/work_queue.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <fmt/format.h>
#include <microhttpd.h>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>

namespace tarn::server {

namespace {

using Clock = std::chrono::steady_clock;

// A body above the limit is read to its end and thrown away, so that the client gets to see its 413; one above this is
// cut off.
constexpr uint64_t kMostDiscardedBytes = 8 * 1024 * 1024;
constexpr size_t kConnectionBytes = 16 * 1024; // header and parsing state of one connection
constexpr auto kHousekeeping = std::chrono::milliseconds(100);
// How long the start waits for a catalogue that does not answer, before the port opens without it.
constexpr auto kFirstLook = std::chrono::seconds(5);
// How long a connection that has not asked yet may still do so when the service ends.
constexpr auto kToAsk = std::chrono::milliseconds(500);
constexpr const char* kRetryAfterSeconds = "1";

constexpr auto kLookAgain = std::chrono::milliseconds(5);

double milliseconds(std::chrono::nanoseconds time) { return std::chrono::duration<double, std::milli>(time).count(); }

// What other libraries say of their failures, fit to stand between quotes in one line of the log.
std::string quotable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '"' || static_cast<unsigned char>(c) < ' '; }, '\'');
    return text;
}

// The path of a request target. A client that frames HTTP itself sends the absolute form, http://HOST/PATH.
std::string_view pathOf(std::string_view target) {
    constexpr std::string_view kScheme = "http://";
    if (!target.starts_with(kScheme)) return target;
    const size_t slash = target.find('/', kScheme.size());
    return slash == std::string_view::npos ? "/" : target.substr(slash);
}

Clients::Client& clientOf(MHD_Connection* connection) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return *static_cast<Clients::Client*>(info->socket_context);
}

// One request. Made when its header has arrived, ended when its answer has left or its connection has.
struct Exchange {
    Clock::time_point start = Clock::now();
    std::unique_ptr<FormBody> form; // of a recognition request
    uint64_t bodyBytes = 0;
    std::optional<AdmittedRequest> admitted;
    Clock::time_point admittedAt;
    std::chrono::nanoseconds waiting{0};
    std::optional<Reply> reply; // of a recognition request
    bool replied = false;
};

} // namespace

struct HttpServer::Impl {
    HttpLimits limits;
    Services services;
    Metrics metrics;
    FileDescriptor listener;
    std::string address;
    uint16_t port = 0;
    MHD_Daemon* daemon = nullptr;
    std::unique_ptr<WorkQueue> queue;

    Clients clients;
    CatalogueWatch catalogue;
    std::atomic<bool> stopping = false;
    std::atomic<bool> outOfTime = false; // what still waits is not asked any more

    std::mutex housekeepingMutex;
    std::condition_variable_any housekeepingWake;
    std::jthread housekeeper;

    Impl(const std::string& listenAddress, const HttpLimits& theLimits, Services theServices)
        : limits(theLimits), services(std::move(theServices)), address(listenAddress),
          clients(limits.connections, limits.requestTime), catalogue(services.recogniser) {}

    void start();
    void stop();

    MHD_Result begin(MHD_Connection* connection, Exchange& exchange, const char* version);
    MHD_Result serve(MHD_Connection* connection, std::string_view path, std::string_view method, Exchange& exchange);
    bool readRequest(MHD_Connection* connection, Exchange& exchange);
    void work(MHD_Connection* connection, Exchange& exchange, WorkQueue::Fate fate);
    MHD_Result sendReply(MHD_Connection* connection, Exchange& exchange);
    MHD_Result send(MHD_Connection* connection, int status, const char* type, const std::string& body,
                    std::initializer_list<std::pair<const char*, const char*>> headers, bool closeConnection);
    void end(MHD_Connection* connection, Exchange& exchange, bool sent);

    void keepHouse(const std::stop_token& token);
    void takeWhatWaits();
    void waitForWhatIsOwed();

    // What the HTTP library calls.
    static MHD_Result onRequest(void* self, MHD_Connection* connection, const char* target, const char* method,
                                const char* version, const char* body, size_t* bodyBytes, void** slot);
    static void onCompleted(void* self, MHD_Connection* connection, void** slot, MHD_RequestTerminationCode how);
    static void onConnection(void* self, MHD_Connection* connection, void** socketContext,
                             MHD_ConnectionNotificationCode what);
};

MHD_Result HttpServer::Impl::onRequest(void* self, MHD_Connection* connection, const char* target, const char* method,
                                       const char* version, const char* body, size_t* bodyBytes, void** slot) {
    auto& impl = *static_cast<Impl*>(self);
    try {
        if (*slot == nullptr) {
            auto& begun = *std::make_unique<Exchange>().release();
            *slot = &begun;
            if (pathOf(target) == "/sdkrequest" && std::strcmp(method, MHD_HTTP_METHOD_POST) == 0) {
                begun.form = std::make_unique<FormBody>(connection, impl.limits.packetBytes);
            }
            return impl.begin(connection, begun, version);
        }
        auto& exchange = *static_cast<Exchange*>(*slot);
        if (*bodyBytes != 0) {
            exchange.bodyBytes += *bodyBytes;
            if (exchange.form) exchange.form->add(body, *bodyBytes);
            *bodyBytes = 0;
            return exchange.bodyBytes > kMostDiscardedBytes ? MHD_NO : MHD_YES;
        }
        return impl.serve(connection, pathOf(target), method, exchange);
    } catch (const std::exception& error) {
        impl.services.log->error("request: {}", error.what());
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
        *socketContext = impl.clients.add(info == nullptr ? -1 : info->connect_fd);
    } else {
        impl.clients.remove(static_cast<Clients::Client*>(*socketContext));
        *socketContext = nullptr;
    }
}

// Once the header is here. A request whose end is in doubt is refused before any of its body is read, and the
// connection ends with it, since nobody knows what the bytes after it are.
MHD_Result HttpServer::Impl::begin(MHD_Connection* connection, Exchange& exchange, const char* version) {
    clients.beginRequest(clientOf(connection));
    const char* fault = framingFault(connection, version);
    if (fault == nullptr) return MHD_YES;
    exchange.reply = RequestHandler::failure({}, Outcome::kBadPacket, std::string("bad request: ") + fault);
    return sendReply(connection, exchange);
}

MHD_Result HttpServer::Impl::serve(MHD_Connection* connection, std::string_view path, std::string_view method,
                                   Exchange& exchange) {
    const bool asksOnly = method == MHD_HTTP_METHOD_GET || method == MHD_HTTP_METHOD_HEAD;
    clients.setTurn(clientOf(connection), true);
    if (path == "/sdkrequest" && exchange.form) {
        // A suspended connection's exchange is a worker's; this is called again when there is a reply.
        if (!exchange.reply && !readRequest(connection, exchange)) return MHD_YES;
        return sendReply(connection, exchange);
    }
    if (path == "/sdkrequest") {
        return send(connection, 405, "text/plain", "post a packet\n", {{"Allow", "POST"}}, false);
    }
    if ((path == "/health" || path == "/metrics") && !asksOnly) {
        return send(connection, 405, "text/plain", "get it\n", {{"Allow", "GET, HEAD"}}, false);
    }
    if (path == "/health") {
        if (stopping)
            return send(connection, 503, "text/plain", "stopping\n", {{"Retry-After", kRetryAfterSeconds}}, true);
        if (!catalogue.recordings()) {
            return send(connection, 503, "text/plain", "the catalogue is not available\n",
                        {{"Retry-After", kRetryAfterSeconds}}, false);
        }
        return send(connection, 200, "text/plain", "ok\n", {}, false);
    }
    if (path == "/metrics") {
        Gauges gauges;
        gauges.recordings = catalogue.recordings();
        gauges.accounts = services.accountCount();
        gauges.waiting = queue->waiting();
        gauges.connections = clients.count();
        return send(connection, 200, "text/plain; version=0.0.4", metrics.text(gauges), {}, false);
    }
    return send(connection, 404, "text/plain", "not found\n", {}, false);
}

// Everything that needs no catalogue, here on the thread of input and output: a flood of packets without a good
// signature never takes a place in the queue. True: there is a reply; false: the exchange must not be touched any more.
bool HttpServer::Impl::readRequest(MHD_Connection* connection, Exchange& exchange) {
    RequestReport report;
    switch (exchange.form->finish()) {
    case FormBody::State::kNoForm:
        exchange.reply = RequestHandler::failure(report, Outcome::kBadPacket, "bad packet: no multipart form");
        return true;
    case FormBody::State::kNoPacket:
        exchange.reply = RequestHandler::failure(report, Outcome::kBadPacket, "bad packet: no part named data");
        return true;
    case FormBody::State::kTooLarge:
        exchange.reply = RequestHandler::failure(report, Outcome::kTooLarge, "the packet is too large");
        return true;
    case FormBody::State::kComplete:
        break;
    }
    const std::string packet = std::move(exchange.form->packet());
    auto admitted = services.handler.admit({reinterpret_cast<const uint8_t*>(packet.data()), packet.size()});
    if (auto* reply = std::get_if<Reply>(&admitted)) {
        exchange.reply = std::move(*reply);
        return true;
    }
    exchange.admitted = std::get<AdmittedRequest>(std::move(admitted));
    exchange.admittedAt = Clock::now();
    report = exchange.admitted->report;
    MHD_suspend_connection(connection);
    const uint32_t account = report.accountId.value();
    if (!queue->tryPush(account,
                        [this, connection, &exchange](WorkQueue::Fate fate) { work(connection, exchange, fate); })) {
        exchange.reply = RequestHandler::failure(std::move(report), Outcome::kOverload, "too many requests");
        MHD_resume_connection(connection);
    }
    return false;
}

// On a worker, or wherever the job gave way. The connection is suspended, so the exchange is ours until it is resumed,
// which is the last thing done.
void HttpServer::Impl::work(MHD_Connection* connection, Exchange& exchange, WorkQueue::Fate fate) {
    exchange.waiting = Clock::now() - exchange.admittedAt;
    const bool mayRun = fate == WorkQueue::Fate::kRun && exchange.waiting <= limits.waitingTime && !outOfTime;
    exchange.reply = mayRun
                         ? services.handler.answer(std::move(*exchange.admitted))
                         : RequestHandler::failure(exchange.admitted->report, Outcome::kOverload, "too many requests");
    MHD_resume_connection(connection);
}

MHD_Result HttpServer::Impl::sendReply(MHD_Connection* connection, Exchange& exchange) {
    const Reply& reply = *exchange.reply;
    const char* type = reply.status == 200 ? "application/octet-stream" : "text/plain";
    exchange.replied = true;
    if (reply.status == 503) {
        return send(connection, reply.status, type, reply.body, {{"Retry-After", kRetryAfterSeconds}},
                    reply.closeConnection);
    }
    return send(connection, reply.status, type, reply.body, {}, reply.closeConnection);
}

MHD_Result HttpServer::Impl::send(MHD_Connection* connection, int status, const char* type, const std::string& body,
                                  std::initializer_list<std::pair<const char*, const char*>> headers,
                                  bool closeConnection) {
    // The library asks for bytes that may be written, copies them and writes nothing.
    std::string bytes = body;
    MHD_Response* response = MHD_create_response_from_buffer(bytes.size(), bytes.data(), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr) return MHD_NO;
    MHD_add_response_header(response, "Content-Type", type);
    MHD_add_response_header(response, "Cache-Control", "no-store");
    for (const auto& [name, value] : headers) MHD_add_response_header(response, name, value);
    if (closeConnection || stopping) MHD_add_response_header(response, "Connection", "close");
    clients.setTurn(clientOf(connection), false);
    const MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(status), response);
    MHD_destroy_response(response);
    metrics.response(status);
    return queued;
}

void HttpServer::Impl::end(MHD_Connection* connection, Exchange& exchange, bool sent) {
    if (exchange.form) {
        const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
        const std::string peer = addressText(info == nullptr ? nullptr : info->client_addr);
        const std::chrono::nanoseconds total = Clock::now() - exchange.start;
        if (exchange.replied && sent) {
            const RequestReport& report = exchange.reply->report;
            metrics.request(report, exchange.waiting, total);
            const std::string account = report.accountId ? std::to_string(*report.accountId) : "-";
            const std::string best = report.best
                                         ? fmt::format("confidence={} recording={} placeMs={}", report.best->confidence,
                                                       report.best->recordingId, report.best->offsetMs)
                                         : "confidence=- recording=- placeMs=-";
            const auto dash = [](const std::string& text) { return text.empty() ? std::string("-") : text; };
            services.log->info(
                "request peer={} kind={} status={} outcome={} account={} language={} client={} option={} "
                "packetBytes={} answers={} {} verifyMs={:.3f} waitMs={:.3f} "
                "recogniseMs={:.3f} totalMs={:.3f} reason=\"{}\"",
                peer, kindName(report.kind), exchange.reply->status, outcomeName(report.outcome), account,
                dash(report.language), dash(report.clientKind), report.requestOption, report.packetBytes,
                report.answers, best, milliseconds(report.verifying), milliseconds(exchange.waiting),
                milliseconds(report.recognising), milliseconds(total), quotable(report.reason));
        } else {
            metrics.dropped();
            services.log->info("request peer={} outcome=dropped bodyBytes={} totalMs={:.3f}", peer, exchange.bodyBytes,
                               milliseconds(total));
        }
    }
    clients.endRequest(clientOf(connection));
}

void HttpServer::Impl::keepHouse(const std::stop_token& token) {
    while (!token.stop_requested()) {
        clients.endSlow();
        std::unique_lock lock(housekeepingMutex);
        housekeepingWake.wait_for(lock, token, kHousekeeping, [] { return false; });
    }
}

void HttpServer::Impl::start() {
    catalogue.start(kFirstLook); // before the port opens: every client that connects can be answered
    listener = listenOn(address);
    address = boundAddress(listener);
    port = boundPort(listener);
    const size_t processors = std::max(1U, std::thread::hardware_concurrency());
    try {
        queue = std::make_unique<WorkQueue>(limits.workers == 0 ? processors : limits.workers, limits.waiting);
    } catch (const std::system_error& error) {
        throw ListenError(std::string("the workers cannot be started: ") + error.what() +
                          "; ask for fewer with --workers, or give the service more memory");
    }
    daemon = MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, &onRequest,
                              this, MHD_OPTION_LISTEN_SOCKET, listener.get(), MHD_OPTION_CONNECTION_LIMIT,
                              static_cast<unsigned>(limits.connections), MHD_OPTION_PER_IP_CONNECTION_LIMIT,
                              static_cast<unsigned>(limits.connectionsPerAddress), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                              kConnectionBytes, MHD_OPTION_NOTIFY_COMPLETED, &onCompleted, this,
                              MHD_OPTION_NOTIFY_CONNECTION, &onConnection, this, MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1,
                              MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_END);
    if (daemon == nullptr) throw ListenError(address + ": the service cannot be started");
    listener.release(); // the daemon's now
    housekeeper = std::jthread([this](const std::stop_token& token) { keepHouse(token); });
}

// The connections that wait in the system's queue are clients too: they get their answer like those that were taken.
void HttpServer::Impl::takeWhatWaits() {
    for (;;) {
        sockaddr_storage peer{};
        socklen_t length = sizeof peer;
        auto* peerAddress = reinterpret_cast<sockaddr*>(&peer);
        const int connection = accept4(listener.get(), peerAddress, &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (connection >= 0) {
            MHD_add_connection(daemon, connection, peerAddress, length);
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;
        }
    }
}

void HttpServer::Impl::waitForWhatIsOwed() {
    const Clock::time_point end = Clock::now() + limits.stoppingTime;
    while (Clock::now() < end && clients.anyOwed(kToAsk)) std::this_thread::sleep_for(kLookAgain);
}

void HttpServer::Impl::stop() {
    if (daemon == nullptr) return;
    stopping = true;
    // Only the daemon's end may close the socket, so that it is shut down first: from here on connections are refused.
    listener = FileDescriptor(MHD_quiesce_daemon(daemon));
    takeWhatWaits();
    if (listener.isOpen()) shutdown(listener.get(), SHUT_RDWR);
    waitForWhatIsOwed();
    outOfTime = true;
    queue->close(); // answers what still waits, so that no connection stays suspended
    housekeeper = {};
    catalogue.stop();
    MHD_stop_daemon(daemon);
    daemon = nullptr;
    listener = FileDescriptor();
}

HttpServer::HttpServer(const std::string& address, const HttpLimits& limits, Services services)
    : impl_(std::make_unique<Impl>(address, limits, std::move(services))) {
    try {
        impl_->start();
    } catch (...) {
        impl_->stop();
        throw;
    }
}

HttpServer::~HttpServer() { stop(); }

std::string HttpServer::address() const { return impl_->address; }
uint16_t HttpServer::port() const { return impl_->port; }
void HttpServer::stop() { impl_->stop(); }

} // namespace tarn::server
