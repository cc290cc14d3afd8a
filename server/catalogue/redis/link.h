// SPDX-License-Identifier: Apache-2.0
// A connection to one server, on which nothing waits: what is said is sent when the socket takes it.
#pragma once

#include "catalogue/redis/replies.h"

#include <memory>
#include <string>
#include <string_view>

namespace tarn::server::redis {

class Link {
  public:
    // Begins to connect.
    explicit Link(const Address& address);

    int descriptor() const { return context_ ? context_->fd : -1; }
    void say(std::string_view bytes) { unsent_ += bytes; }
    bool hasUnsent() const { return sent_ < unsent_.size(); }
    // Both false when the connection is over; trouble() says why.
    bool send();
    bool receive();
    // The next reply that has come whole; null: there is none, or trouble().
    Reply take();
    // Empty while all is well.
    const std::string& trouble() const { return trouble_; }

  private:
    struct Free {
        void operator()(redisContext* context) const { redisFree(context); }
    };
    bool over(std::string why);

    std::unique_ptr<redisContext, Free> context_;
    std::string unsent_;
    size_t sent_ = 0; // of unsent_
    std::string trouble_;
};

} // namespace tarn::server::redis
