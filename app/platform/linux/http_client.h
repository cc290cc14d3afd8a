// SPDX-License-Identifier: Apache-2.0
// URL loading over plain HTTP/1.1: one connection per request, no redirects.
#pragma once

#include "platform/url_loading.h"

#include <chrono>

namespace tarn {

class HttpClient : public URLLoading {
  public:
    static constexpr std::chrono::milliseconds kIdleLimit = std::chrono::seconds(60);

    // idleLimit: how long a connection may deliver or take nothing before it counts as dead.
    explicit HttpClient(std::chrono::milliseconds idleLimit = kIdleLimit) : idleLimit_(idleLimit) {}

    std::optional<Bytes> sendSynchronousRequest(const MutableURLRequest& request,
                                                std::optional<HTTPURLResponse>& response, ErrorSlot& error) override;

  private:
    std::chrono::milliseconds idleLimit_;
};

} // namespace tarn
