// SPDX-License-Identifier: Apache-2.0
// Redis servers on this machine: one, or a cluster of masters and replicas, in a temporary directory. They end with it.
#pragma once

#include "support/process.h"
#include "support/temporary_directory.h"

#include <hiredis/hiredis.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kvxtest {

struct FreeRedisReply {
    void operator()(redisReply* reply) const { freeReplyObject(reply); }
};
using RedisReply = std::unique_ptr<redisReply, FreeRedisReply>;

class RedisServer {
  public:
    // options: words of the command line.
    RedisServer(const std::string& folder, bool cluster, const std::vector<std::string>& options = {});
    RedisServer(const RedisServer&) = delete;
    RedisServer& operator=(const RedisServer&) = delete;

    uint16_t port() const { return port_; }
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
    // Throws where the server does not answer, or answers an error.
    RedisReply ask(const std::vector<std::string>& words) const;
    std::string text(const std::vector<std::string>& words) const;
    // The value of a line "FIELD:VALUE" of what the words are answered; empty: there is none.
    std::string field(const std::vector<std::string>& words, const std::string& name) const;

    void kill();
    void freeze() const;
    void thaw() const;
    // On the same port.
    void start();

  private:
    std::vector<std::string> words_;
    uint16_t port_ = 0;
    std::unique_ptr<Process> process_;
};

// Waits for what must come, for as long as a test may.
void awaitOrThrow(const std::string& what, const std::function<bool()>& isThere);

class RedisCluster {
  public:
    explicit RedisCluster(size_t masters, size_t replicas = 0, const std::vector<std::string>& options = {});

    // "redis://HOST:PORT,...", of the masters.
    std::string location() const;
    RedisServer& master(size_t i) { return *servers_[i]; }
    // Of the master of that number.
    RedisServer& replica(size_t i) { return *servers_[masters_ + i]; }
    size_t masters() const { return masters_; }
    // The number of the master that has the slot, as long as none failed.
    size_t ownerOf(size_t slot) const;
    // Slots begin to move; keys do not move yet.
    void beginToMove(size_t slot, size_t from, size_t to);
    void moveKeys(size_t slot, size_t from, size_t to, size_t most);
    void finishMove(size_t slot, size_t to);
    // All nodes agree that all slots are served.
    void awaitWhole();

  private:
    std::string idOf(const RedisServer& server) const { return server.text({"CLUSTER", "MYID"}); }

    TemporaryDirectory folder_;
    size_t masters_;
    std::map<size_t, size_t> moved_; // owners of slots
    std::vector<std::unique_ptr<RedisServer>> servers_;
};

} // namespace kvxtest
