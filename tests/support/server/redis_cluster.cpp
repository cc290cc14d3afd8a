// SPDX-License-Identifier: Apache-2.0
#include "support/server/redis_cluster.h"

#include <algorithm>
#include <arpa/inet.h>
#include <csignal>
#include <filesystem>
#include <netinet/in.h>
#include <random>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kvxtest {

namespace {

constexpr size_t kSlots = 16384;
constexpr uint16_t kBusOffset = 10000; // a cluster's servers talk to each other on the port above

bool isFree(uint16_t port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const int on = 1; // as the server does
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const bool bound = ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return bound;
}

// Below the ports that the system gives to whoever asks for any, so that none of those takes it meanwhile.
uint16_t freePort() {
    static std::mt19937 dice{std::random_device{}()};
    for (int tries = 0; tries < 1000; ++tries) {
        const auto port = static_cast<uint16_t>(10000 + dice() % 12000);
        if (isFree(port) && isFree(static_cast<uint16_t>(port + kBusOffset))) return port;
    }
    throw std::runtime_error("no free port");
}

using Link = std::unique_ptr<redisContext, decltype(&redisFree)>;

Link connectTo(uint16_t port) {
    const timeval patience = {5, 0};
    Link link(redisConnectWithTimeout("127.0.0.1", port, patience), &redisFree);
    if (link && link->err == 0) redisSetTimeout(link.get(), patience);
    return link;
}

} // namespace

void awaitOrThrow(const std::string& what, const std::function<bool()>& isThere) {
    for (int tries = 0; tries < 3000; ++tries) {
        if (isThere()) return;
        usleep(10'000);
    }
    throw std::runtime_error(what + " did not come about in 30 seconds");
}

RedisServer::RedisServer(const std::string& folder, bool cluster, const std::vector<std::string>& options) {
    for (int tries = 0;; ++tries) {
        port_ = freePort();
        const std::string own = folder + "/" + std::to_string(port_);
        std::filesystem::create_directories(own);
        words_ = {"redis-server",
                  "--port",
                  std::to_string(port_),
                  "--bind",
                  "127.0.0.1",
                  "--dir",
                  own,
                  "--save",
                  "",
                  "--logfile",
                  own + "/log",
                  "--repl-diskless-sync-delay",
                  "0"};
        if (cluster) {
            for (const char* word :
                 {"--cluster-enabled", "yes", "--cluster-node-timeout", "1200", "--cluster-require-full-coverage", "no",
                  "--repl-diskless-sync-delay", "0", "--repl-ping-replica-period", "1"}) {
                words_.emplace_back(word);
            }
        }
        words_.insert(words_.end(), options.begin(), options.end());
        try {
            start();
            return;
        } catch (const std::runtime_error&) { // somebody else took the port
            kill();
            if (tries == 5) throw;
        }
    }
}

void RedisServer::start() {
    process_ = std::make_unique<Process>(words_);
    awaitOrThrow("redis-server", [this] {
        if (process_->isOver()) throw std::runtime_error("redis-server ended");
        const Link link = connectTo(port_);
        return link && link->err == 0 &&
               RedisReply(static_cast<redisReply*>(redisCommand(link.get(), "PING"))) != nullptr;
    });
}

void RedisServer::kill() { process_.reset(); }

void RedisServer::freeze() const {
    process_->signal(SIGSTOP);
    waitpid(process_->id(), nullptr, WUNTRACED);
}

void RedisServer::thaw() const { process_->signal(SIGCONT); }

RedisReply RedisServer::ask(const std::vector<std::string>& words) const {
    const Link link = connectTo(port_);
    std::vector<const char*> arguments;
    std::vector<size_t> sizes;
    for (const std::string& word : words) {
        arguments.push_back(word.data());
        sizes.push_back(word.size());
    }
    RedisReply reply;
    if (link && link->err == 0) {
        reply.reset(static_cast<redisReply*>(
            redisCommandArgv(link.get(), static_cast<int>(words.size()), arguments.data(), sizes.data())));
    }
    if (!reply) throw std::runtime_error(address() + " does not answer " + words.front());
    if (reply->type == REDIS_REPLY_ERROR) throw std::runtime_error(words.front() + ": " + reply->str);
    return reply;
}

std::string RedisServer::text(const std::vector<std::string>& words) const {
    const RedisReply reply = ask(words);
    return reply->str == nullptr ? std::string() : std::string(reply->str, reply->len);
}

std::string RedisServer::field(const std::vector<std::string>& words, const std::string& name) const {
    const std::string all = "\n" + text(words);
    const size_t at = all.find("\n" + name + ":");
    if (at == std::string::npos) return {};
    const size_t begin = at + name.size() + 2;
    return all.substr(begin, all.find('\r', begin) - begin);
}

RedisCluster::RedisCluster(size_t masters, size_t replicas, const std::vector<std::string>& options)
    : masters_(masters) {
    for (size_t i = 0; i < masters + replicas; ++i) {
        servers_.push_back(std::make_unique<RedisServer>(folder_.path().string(), true, options));
    }
    for (size_t i = 0; i < masters; ++i) {
        RedisServer& server = *servers_[i];
        server.ask({"CLUSTER", "SET-CONFIG-EPOCH", std::to_string(i + 1)});
        server.ask({"CLUSTER", "ADDSLOTSRANGE", std::to_string(i * kSlots / masters),
                    std::to_string((i + 1) * kSlots / masters - 1)});
    }
    for (size_t i = 1; i < servers_.size(); ++i) { // each with each, which is quicker than what they hear of others
        for (size_t j = 0; j < i; ++j)
            servers_[j]->ask({"CLUSTER", "MEET", "127.0.0.1", std::to_string(servers_[i]->port())});
    }
    for (const auto& server : servers_) {
        awaitOrThrow("the cluster's nodes know each other", [&] {
            return server->field({"CLUSTER", "INFO"}, "cluster_known_nodes") == std::to_string(servers_.size()) &&
                   server->text({"CLUSTER", "NODES"}).find("handshake") == std::string::npos;
        });
    }
    for (size_t i = 0; i < replicas; ++i) {
        const std::string master = idOf(*servers_[i]);
        awaitOrThrow("a replica takes its master", [&] {
            try {
                replica(i).ask({"CLUSTER", "REPLICATE", master});
                return true;
            } catch (const std::runtime_error&) {
                return false;
            }
        });
    }
    for (size_t i = 0; i < replicas; ++i) {
        awaitOrThrow("a replica follows", [&] { return replica(i).field({"INFO"}, "master_link_status") == "up"; });
    }
    awaitWhole();
    // A master tells of its replica once the others have heard of it.
    const auto replicasKnown = [&](const RedisServer& server) {
        const RedisReply slots = server.ask({"CLUSTER", "SLOTS"});
        size_t known = 0;
        for (size_t i = 0; i < slots->elements; ++i) known += slots->element[i]->elements - 3;
        return known == replicas;
    };
    for (const auto& server : servers_) {
        awaitOrThrow("all know the replicas", [&] { return replicasKnown(*server); });
    }
}

void RedisCluster::awaitWhole() {
    for (const auto& server : servers_) {
        awaitOrThrow("the cluster is whole", [&] {
            try {
                const std::vector<std::string> info = {"CLUSTER", "INFO"};
                return server->field(info, "cluster_state") == "ok" &&
                       server->field(info, "cluster_slots_ok") == std::to_string(kSlots);
            } catch (const std::runtime_error&) { // it was killed
                return true;
            }
        });
    }
}

std::string RedisCluster::location() const {
    std::string location = "redis://";
    for (size_t i = 0; i < masters_; ++i) location += (i == 0 ? "" : ",") + servers_[i]->address();
    return location;
}

size_t RedisCluster::ownerOf(size_t slot) const {
    if (const auto moved = moved_.find(slot); moved != moved_.end()) return moved->second;
    size_t owner = 0;
    while (slot >= (owner + 1) * kSlots / masters_) ++owner;
    return owner;
}

void RedisCluster::beginToMove(size_t slot, size_t from, size_t to) {
    master(to).ask({"CLUSTER", "SETSLOT", std::to_string(slot), "IMPORTING", idOf(master(from))});
    master(from).ask({"CLUSTER", "SETSLOT", std::to_string(slot), "MIGRATING", idOf(master(to))});
}

void RedisCluster::moveKeys(size_t slot, size_t from, size_t to, size_t most) {
    const RedisReply keys = master(from).ask({"CLUSTER", "GETKEYSINSLOT", std::to_string(slot), std::to_string(most)});
    for (size_t i = 0; i < keys->elements; ++i) {
        master(from).ask({"MIGRATE", "127.0.0.1", std::to_string(master(to).port()),
                          std::string(keys->element[i]->str, keys->element[i]->len), "0", "5000"});
    }
}

void RedisCluster::finishMove(size_t slot, size_t to) {
    moved_[slot] = to;
    const std::vector<std::string> words = {"CLUSTER", "SETSLOT", std::to_string(slot), "NODE", idOf(master(to))};
    master(to).ask(words); // the one that gets it first, so that it has an owner at any time
    for (size_t i = 0; i < masters_; ++i) {
        if (i != to) master(i).ask(words);
    }
}

} // namespace kvxtest
