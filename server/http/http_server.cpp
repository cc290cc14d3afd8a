#include "http/http_server.h"

#include "http/form_body.h"
#include "http/listen_socket.h"
#include "http/work_queue.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <fmt/format.h>
#include <microhttpd.h>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>
#include <unordered_set>

namespace tarn::server {

namespace {

using Clock = std::chrono::steady_clock;

// A body above the limit is read to its end and thrown away, so that the client gets to see its 413; one above this is
// cut off.
constexpr uint64_t kMostDiscardedBytes = 8 * 1024 * 1024;
constexpr size_t kConnectionBytes = 16 * 1024; // header and parsing state of one connection
constexpr auto kHousekeeping = std::chrono::milliseconds(100);
constexpr auto kCatalogueLook = std::chrono::seconds(1);
constexpr const char* kRetryAfterSeconds = "1";

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

// One connection. shutDown is only called under the mutex of the set that holds it, so never after its socket closed.
struct Client {
    int socket;
    Clock::time_point since = Clock::now(); // when it last began to be the client's turn
    bool ourTurn = false;                   // its request is here and not answered yet
};

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

    std::mutex clientsMutex;
    std::unordered_set<Client*> clients;

    std::mutex flightMutex;
    std::condition_variable landed;
    size_t inFlight = 0;
    std::atomic<bool> stopping = false;

    std::mutex recordingsMutex;
    std::optional<uint64_t> recordings;

    std::mutex housekeepingMutex;
    std::condition_variable_any housekeepingWake;
    std::jthread housekeeper;

    Impl(const std::string& listenAddress, const HttpLimits& theLimits, Services theServices)
        : limits(theLimits), services(std::move(theServices)), listener(listenOn(listenAddress)),
          address(boundAddress(listener)), port(boundPort(listener)) {}

    void start();
    void stop();

    MHD_Result begin(MHD_Connection* connection, void** slot);
    MHD_Result serve(MHD_Connection* connection, std::string_view path, std::string_view method, Exchange& exchange);
    bool readRequest(MHD_Connection* connection, Exchange& exchange);
    void work(MHD_Connection* connection, Exchange& exchange);
    MHD_Result sendReply(MHD_Connection* connection, Exchange& exchange);
    MHD_Result send(MHD_Connection* connection, int status, const char* type, const std::string& body,
                    std::initializer_list<std::pair<const char*, const char*>> headers, bool closeConnection);
    void end(MHD_Connection* connection, Exchange& exchange, bool sent);
    void setTurn(MHD_Connection* connection, bool ours);

    void keepHouse(const std::stop_token& token);
    void lookAfterClients();
    void lookAtCatalogue();
    std::optional<uint64_t> knownRecordings();

    // What the HTTP library calls.
    static MHD_Result onRequest(void* self, MHD_Connection* connection, const char* target, const char* method,
                                const char* version, const char* body, size_t* bodyBytes, void** slot);
    static void onCompleted(void* self, MHD_Connection* connection, void** slot, MHD_RequestTerminationCode how);
    static void onConnection(void* self, MHD_Connection* connection, void** socketContext,
                             MHD_ConnectionNotificationCode what);
};

MHD_Result HttpServer::Impl::onRequest(void* self, MHD_Connection* connection, const char* target, const char* method,
                                       const char* /*version*/, const char* body, size_t* bodyBytes, void** slot) {
    auto& impl = *static_cast<Impl*>(self);
    try {
        if (*slot == nullptr) {
            const MHD_Result begun = impl.begin(connection, slot);
            if (pathOf(target) == "/sdkrequest" && std::strcmp(method, MHD_HTTP_METHOD_POST) == 0) {
                static_cast<Exchange*>(*slot)->form = std::make_unique<FormBody>(connection, impl.limits.packetBytes);
            }
            return begun;
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
    const std::lock_guard lock(impl.clientsMutex);
    if (what == MHD_CONNECTION_NOTIFY_STARTED) {
        const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        auto client = std::make_unique<Client>(Client{info == nullptr ? -1 : info->connect_fd});
        impl.clients.insert(client.get());
        *socketContext = client.release();
    } else {
        const std::unique_ptr<Client> client(static_cast<Client*>(*socketContext));
        impl.clients.erase(client.get());
        *socketContext = nullptr;
    }
}

MHD_Result HttpServer::Impl::begin(MHD_Connection* /*connection*/, void** slot) {
    *slot = std::make_unique<Exchange>().release();
    const std::lock_guard lock(flightMutex);
    ++inFlight;
    return MHD_YES;
}

MHD_Result HttpServer::Impl::serve(MHD_Connection* connection, std::string_view path, std::string_view method,
                                   Exchange& exchange) {
    const bool asksOnly = method == MHD_HTTP_METHOD_GET || method == MHD_HTTP_METHOD_HEAD;
    setTurn(connection, true);
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
        if (!knownRecordings()) {
            return send(connection, 503, "text/plain", "the catalogue is not available\n",
                        {{"Retry-After", kRetryAfterSeconds}}, false);
        }
        return send(connection, 200, "text/plain", "ok\n", {}, false);
    }
    if (path == "/metrics") {
        Gauges gauges;
        gauges.recordings = knownRecordings();
        gauges.accounts = services.accountCount();
        gauges.waiting = queue->waiting();
        {
            const std::lock_guard lock(clientsMutex);
            gauges.connections = clients.size();
        }
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
    if (!queue->tryPush([this, connection, &exchange] { work(connection, exchange); })) {
        exchange.reply = RequestHandler::failure(std::move(report), Outcome::kOverload, "too many requests");
        MHD_resume_connection(connection);
    }
    return false;
}

// On a worker. The connection is suspended, so the exchange is ours until it is resumed, which is the last thing done.
void HttpServer::Impl::work(MHD_Connection* connection, Exchange& exchange) {
    exchange.waiting = Clock::now() - exchange.admittedAt;
    exchange.reply = exchange.waiting > limits.waitingTime
                         ? RequestHandler::failure(exchange.admitted->report, Outcome::kOverload, "too many requests")
                         : services.handler.answer(std::move(*exchange.admitted));
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
    setTurn(connection, false);
    const MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(status), response);
    MHD_destroy_response(response);
    metrics.response(status);
    return queued;
}

void HttpServer::Impl::end(MHD_Connection* connection, Exchange& exchange, bool sent) {
    setTurn(connection, false);
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
    {
        const std::lock_guard lock(flightMutex);
        --inFlight;
    }
    landed.notify_all();
}

void HttpServer::Impl::setTurn(MHD_Connection* connection, bool ours) {
    const MHD_ConnectionInfo* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    if (info == nullptr || info->socket_context == nullptr) return;
    const std::lock_guard lock(clientsMutex);
    auto& client = *static_cast<Client*>(info->socket_context);
    client.ourTurn = ours;
    client.since = Clock::now();
}

void HttpServer::Impl::keepHouse(const std::stop_token& token) {
    auto nextLook = Clock::now();
    while (!token.stop_requested()) {
        if (Clock::now() >= nextLook) {
            lookAtCatalogue();
            nextLook = Clock::now() + kCatalogueLook;
        }
        lookAfterClients();
        std::unique_lock lock(housekeepingMutex);
        housekeepingWake.wait_for(lock, token, kHousekeeping, [] { return false; });
    }
}

// A client that sends its request, or takes its answer, byte by byte is always active, so time-outs of inactivity never
// catch it. One that goes in the middle of its request may not be noticed by the HTTP library, which waits for a change
// and has seen the last one: ending the reading side makes another.
void HttpServer::Impl::lookAfterClients() {
    const Clock::time_point oldest = Clock::now() - limits.requestTime;
    const std::lock_guard lock(clientsMutex);
    for (const Client* client : clients) {
        if (client->ourTurn) continue;
        char byte = 0;
        if (client->since < oldest) {
            shutdown(client->socket, SHUT_RDWR);
        } else if (recv(client->socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0) {
            shutdown(client->socket, SHUT_RD);
        }
    }
}

void HttpServer::Impl::lookAtCatalogue() {
    std::optional<uint64_t> count;
    try {
        count = services.recogniser.recordingCount();
    } catch (const std::exception&) {
        // Nothing known is what the health check and the metrics then tell.
    }
    const std::lock_guard lock(recordingsMutex);
    recordings = count;
}

std::optional<uint64_t> HttpServer::Impl::knownRecordings() {
    const std::lock_guard lock(recordingsMutex);
    return recordings;
}

void HttpServer::Impl::start() {
    const size_t processors = std::max(1U, std::thread::hardware_concurrency());
    queue = std::make_unique<WorkQueue>(limits.workers == 0 ? processors : limits.workers, limits.waiting);
    daemon = MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, &onRequest,
                              this, MHD_OPTION_LISTEN_SOCKET, listener.get(), MHD_OPTION_CONNECTION_LIMIT,
                              static_cast<unsigned>(limits.connections), MHD_OPTION_PER_IP_CONNECTION_LIMIT,
                              static_cast<unsigned>(limits.connectionsPerAddress), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                              kConnectionBytes, MHD_OPTION_NOTIFY_COMPLETED, &onCompleted, this,
                              MHD_OPTION_NOTIFY_CONNECTION, &onConnection, this, MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1,
                              MHD_OPTION_END);
    if (daemon == nullptr) throw ListenError(address + ": the service cannot be started");
    listener.release(); // the daemon's now
    housekeeper = std::jthread([this](const std::stop_token& token) { keepHouse(token); });
}

void HttpServer::Impl::stop() {
    if (daemon == nullptr) return;
    stopping = true;
    // Only the daemon's end may close the socket, so that it is shut down first: from here on connections are refused.
    listener = FileDescriptor(MHD_quiesce_daemon(daemon));
    if (listener.isOpen()) shutdown(listener.get(), SHUT_RDWR);
    {
        std::unique_lock lock(flightMutex);
        landed.wait_for(lock, limits.stoppingTime, [this] { return inFlight == 0; });
    }
    queue->close(); // does what still waits, so that no connection stays suspended
    housekeeper = {};
    MHD_stop_daemon(daemon);
    daemon = nullptr;
    listener = FileDescriptor();
}

HttpServer::HttpServer(const std::string& address, const HttpLimits& limits, Services services)
    : impl_(std::make_unique<Impl>(address, limits, std::move(services))) {
    impl_->start();
}

HttpServer::~HttpServer() { stop(); }

std::string HttpServer::address() const { return impl_->address; }
uint16_t HttpServer::port() const { return impl_->port; }
void HttpServer::stop() { impl_->stop(); }

} // namespace tarn::server
