// SPDX-License-Identifier: Apache-2.0
// The lock of the one writer: a key with the writer's token, which goes by itself seconds after the writer died. A
// thread renews it, so that a writer may take its time between two commits.
#pragma once

#include "catalogue/redis/cluster.h"

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace tarn::server::redis {

class WriterLock {
  public:
    // Throws CatalogueError when another writer holds it. Where one died, waits until its lock has gone.
    WriterLock(Cluster& cluster, const Keys& keys, Milliseconds patience);
    ~WriterLock();
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;

    // Throws CatalogueError when another writer has it. False: it had gone, and was taken anew.
    bool renew();
    const std::string& token() const { return token_; }

  private:
    enum class Outcome { kRefused, kRenewed, kTaken };
    Outcome take(Cluster& cluster, Milliseconds patience) const;
    void keepRenewing(const std::stop_token& stop);

    Cluster& cluster_;
    const std::string key_;
    const std::string token_;
    const Milliseconds patience_;
    std::mutex mutex_; // for the thread to wait with
    std::condition_variable_any wake_;
    std::jthread thread_;
};

} // namespace tarn::server::redis
