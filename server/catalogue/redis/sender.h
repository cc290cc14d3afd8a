// SPDX-License-Identifier: Apache-2.0
// Sends what a writer writes, until all of it is acknowledged.
#pragma once

#include "catalogue/redis/cluster.h"

namespace tarn::server::redis {

// A wave of a writer: what its buffers hold, and what the servers' do.
inline constexpr size_t kMaxCommands = 4096;
inline constexpr size_t kMaxBytes = size_t{1} << 20;

class Sender {
  public:
    Sender(Cluster& cluster, Milliseconds patience) : cluster_(cluster), patience_(patience) {}

    // In the order of the commands, which are cleared. Throws CatalogueUnavailable where one is not answered in the
    // end.
    std::vector<Reply> answersTo(Commands& commands) {
        std::vector<Reply> replies = cluster_.ask(commands, patience_);
        for (const Reply& reply : replies) {
            if (!reply) throw cluster_.unavailable();
        }
        commands.clear();
        return replies;
    }
    void send(Commands& commands) {
        if (commands.size() > 0) answersTo(commands);
    }
    void sendIfLarge(Commands& commands) {
        if (commands.size() >= kMaxCommands || commands.bytes() >= kMaxBytes) send(commands);
    }

  private:
    Cluster& cluster_;
    Milliseconds patience_;
};

} // namespace tarn::server::redis
