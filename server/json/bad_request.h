// SPDX-License-Identifier: Apache-2.0
// What is wrong with a request, as its client reads it.
#pragma once

#include <stdexcept>
#include <string>

namespace tarn::server {

class BadJsonRequest : public std::runtime_error {
  public:
    // status: of HTTP, 400 to 499.
    BadJsonRequest(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
    int status() const { return status_; }

  private:
    int status_;
};

} // namespace tarn::server
